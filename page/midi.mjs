// MIDI ports, where the browser has them, and only when asked.
import {controlsOf, hex, inWords} from './controls.mjs';
import {byId, html} from './dom.mjs';

const MISSING = 'This browser has no MIDI; Chromium and Firefox have it.';

// Who hears what: "listen" an input that a real controller sends to, "drive" an output to its lights,
// "beTo" and "beFrom" an output and an input of a virtual cable to other software.
const ROLES = {listen: 'inputs', drive: 'outputs', beTo: 'outputs', beFrom: 'inputs'};
const box = role => byId(`midi-${role}`);
const chosen = {};  // ports, also while one is not there
let access = null;

// Messages of the inputs go to `takers`, functions by role. Throws with a sentence where there is no MIDI.
export async function askForPorts(takers) {
    if (!navigator.requestMIDIAccess)
        throw new Error(MISSING);
    access = await navigator.requestMIDIAccess();
    const connect = () => access.inputs.forEach(port => {
        const own = Object.keys(takers).filter(role => chosen[role] === port.id);
        port.onmidimessage = own.length > 0 ? ({data}) => own.forEach(role => takers[role]([...data])) : null;
    });
    const refresh = () => {
        for (const [role, side] of Object.entries(ROLES)) {
            const ports = [{id: '', name: 'none'}, ...access[side].values()];
            box(role).replaceChildren(...ports.map(({id, name}) => html('option', {value: id}, name ?? id)));
            box(role).value = access[side].has(chosen[role]) ? chosen[role] : '';
            box(role).onchange = () => {
                chosen[role] = box(role).value;
                connect();
            };
        }
        connect();
    };
    access.onstatechange = refresh;
    refresh();
}

// System exclusive was not asked for.
export function sendTo(role, bytes) {
    if (bytes[0] !== 0xF0)
        access?.outputs.get(chosen[role])?.send(bytes);
}

// What has been heard of a real controller.
export class Heard {
    states = [];            // by index, of those that were heard
    strangers = new Map();  // messages that belong to no control, in words

    // Puts what the message says of its controls into their states; returns the controls.
    take(data, bytes) {
        const found = controlsOf(data, 'to_host', bytes);
        for (const {index, to_host: to, mode} of found) {
            const state = this.states[index] ??= {heard: true};
            if (to.type === 'note')
                state.down = (bytes[0] & 0xF0) === 0x90 && bytes[2] > 0;
            else if (mode === 'relative')
                state.angle = (state.angle ?? 0) + bytes[2] - 64;
            else
                state.position = bytes[2];
        }
        const value = bytes.length === 3 ? bytes.slice(0, 2) : bytes;
        if (found.length === 0)
            this.strangers.set(hex(value), inWords(value));
        return found;
    }
}
