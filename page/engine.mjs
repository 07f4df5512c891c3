// The daemon's own modules and the rules of `ctlmap check`, compiled to WebAssembly.

// Nothing outside is offered: what the C library asks for is refused.
const REFUSED = 52;
const outside = new Proxy({}, {get: () => new Proxy({}, {get: () => () => REFUSED})});

// Its state cannot be taken back, so each load is a new one.
export class Engine {
    #memory;
    #calls;

    constructor(module, files) {
        this.#calls = new WebAssembly.Instance(module, outside).exports;
        this.#memory = this.#calls.memory;
        this.#calls._initialize?.();
        for (const [name, bytes] of files)
            this.#calls.engine_file(this.#copied(new TextEncoder().encode(`${name}\0`)),
                this.#copied(bytes), bytes.length);
    }

    #copied(bytes) {
        const at = this.#calls.malloc(bytes.length + 1);
        new Uint8Array(this.#memory.buffer).set(bytes, at);
        return at;
    }

    #bytes(at) {
        const bytes = new Uint8Array(this.#memory.buffer);
        return at === 0 ? null : bytes.slice(at, bytes.indexOf(0, at));
    }

    // What the engine answers, as text, to "export" or "check".
    answer(question) {
        return new TextDecoder().decode(this.#bytes(this.#calls[`engine_${question}`]()));
    }

    // Null without a base mapping, with which the daemon would not start.
    export() {
        const text = this.answer('export');
        return text === '' ? null : JSON.parse(text);
    }

    check() {
        return JSON.parse(this.answer('check'));
    }

    // The bytes of a preset's checked copy; null if the preset is refused.
    checkedCopy(preset) {
        return this.#bytes(this.#calls.engine_checked_copy(this.#copied(new TextEncoder().encode(`${preset}\0`))));
    }

    start() {
        this.#calls.engine_start();
    }

    // Takes bytes from the board (0) or the host (1); returns what comes out as {host, board, console},
    // each a list of lists of bytes.
    feed(side, bytes) {
        const at = this.#copied(bytes);
        const out = this.#bytes(this.#calls.engine_feed(side, at, bytes.length));
        this.#calls.free(at);
        return JSON.parse(new TextDecoder().decode(out));
    }
}

// What was packed into the page: bytes, deflated, in Base64.
export async function unpacked(text) {
    const [, packed, base64] = /^(deflate:)?(.*)$/s.exec(text);
    const bytes = Uint8Array.from(atob(base64), c => c.charCodeAt(0));
    if (!packed)
        return bytes;
    const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate-raw'));
    return new Uint8Array(await new Response(stream).arrayBuffer());
}
