// The daemon's own modules and the rules of `ctlmap check`, compiled to WebAssembly.

// Nothing outside is offered: what the C library asks for is refused.
const REFUSED = 52;
const outside = new Proxy({}, {get: () => new Proxy({}, {get: () => () => REFUSED})});

// Its state cannot be taken back, so each load is a new one: to be examined or to play.
export class Engine {
    #calls;

    constructor(module, files) {
        this.#calls = new WebAssembly.Instance(module, outside).exports;
        this.#calls._initialize?.();
        for (const [name, bytes] of files)
            this.#calls.engine_file(this.#word(name), this.#copied(bytes), bytes.length);
    }

    #copied(bytes) {
        const at = this.#calls.malloc(bytes.length + 1);
        new Uint8Array(this.#calls.memory.buffer).set(bytes, at);
        return at;
    }

    #word(text) {
        return this.#copied(new TextEncoder().encode(`${text}\0`));
    }

    #bytes(at) {
        const bytes = new Uint8Array(this.#calls.memory.buffer);
        return at === 0 ? null : bytes.slice(at, bytes.indexOf(0, at));
    }

    // What the engine answers, as text, to "export" or "check".
    answer(question) {
        return new TextDecoder().decode(this.#bytes(this.#calls[`engine_${question}`]()));
    }

    // Null without a base mapping, with which the daemon would not start.
    export() {
        return JSON.parse(this.answer('export') || 'null');
    }

    // The findings, numbered from 1.
    check() {
        return JSON.parse(this.answer('check')).findings.map((one, i) => ({...one, number: i + 1}));
    }

    // The bytes of a preset's checked copy; null if the preset is refused.
    checkedCopy(preset) {
        return this.#bytes(this.#calls.engine_checked_copy(this.#word(preset)));
    }

    start() {
        this.#calls.engine_start();
    }

    // Takes bytes from the board (0) or the host (1); returns what comes out, in its order: lists of the
    // receiver, the host (0), the board (1) or the console (2), and the bytes.
    feed(side, bytes) {
        const at = this.#copied(bytes), out = this.#bytes(this.#calls.engine_feed(side, at, bytes.length));
        this.#calls.free(at);
        return JSON.parse(new TextDecoder().decode(out));
    }
}

// What was packed into the page: bytes, compressed by gzip, in Base64.
export function unpacked(text) {
    const bytes = Uint8Array.from(atob(text), c => c.charCodeAt(0));
    const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('gzip'));
    return new Response(stream).arrayBuffer();
}
