// MIDI ports, where the browser has them, and only when asked.
import {controlsOf, hex, inWords, titleOf} from './controls.mjs';

export const MISSING = 'This browser has no MIDI; Chromium and Firefox have it.';

// Who hears what: "listen" an input that a real controller sends to, "drive" an output to its
// lights, "be" an output and an input of a virtual cable to other software.
export class Ports {
    #access = null;
    chosen = {listen: '', drive: '', beTo: '', beFrom: ''};

    constructor(heard, fromSoftware) {
        this.heard = heard;
        this.fromSoftware = fromSoftware;
    }

    // Throws with a sentence where it cannot be.
    async ask(changed) {
        if (!navigator.requestMIDIAccess)
            throw new Error(MISSING);
        this.#access = await navigator.requestMIDIAccess();
        this.#access.onstatechange = () => {
            this.#connect();
            changed();
        };
    }

    get inputs() {
        return [...this.#access?.inputs.values() ?? []];
    }

    get outputs() {
        return [...this.#access?.outputs.values() ?? []];
    }

    choose(role, id) {
        this.chosen[role] = id;
        this.#connect();
    }

    #connect() {
        for (const port of this.inputs) {
            const listens = port.id === this.chosen.listen, plays = port.id === this.chosen.beFrom;
            port.onmidimessage = !listens && !plays ? null : ({data}) => {
                if (listens)
                    this.heard([...data]);
                if (plays)
                    this.fromSoftware([...data]);
            };
        }
    }

    #send(role, bytes) {
        const isSysEx = bytes[0] === 0xF0;  // which was not asked for
        if (!isSysEx)
            this.outputs.find(port => port.id === this.chosen[role])?.send(bytes);
    }

    toSoftware(bytes) {
        this.#send('beTo', bytes);
    }

    toLights(bytes) {
        this.#send('drive', bytes);
    }
}

// What has been heard of a real controller.
export class Heard {
    indices = new Set();
    strangers = new Map();  // messages that belong to no control, in words

    // Puts what the message says of its controls into their states; returns the controls.
    take(data, bytes, stateOf) {
        const found = controlsOf(data, 'to_host', bytes);
        for (const one of found) {
            const state = stateOf(one.index);
            this.indices.add(one.index);
            if (one.to_host.type === 'note')
                state.down = (bytes[0] & 0xF0) === 0x90 && bytes[2] > 0;
            else if (one.mode === 'relative')
                state.angle = (state.angle ?? 0) + bytes[2] - 64;
            else
                state.position = bytes[2];
            state.heard = true;
        }
        if (found.length === 0) {
            const value = bytes.length === 3 ? bytes.slice(0, 2) : bytes;
            this.strangers.set(hex(value), inWords(value));
        }
        return found;
    }

    // "12 of 74 heard", and the names of what is missing.
    summary(data) {
        const all = data.controls.filter(one => one.to_host);
        const missing = all.filter(one => !this.indices.has(one.index)).map(titleOf);
        return {heard: all.length - missing.length, all: all.length, missing};
    }
}
