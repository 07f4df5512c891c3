// Playing: what hands do at the front, what the daemon makes of it, and what is known of each control.
import {controlsOf, hasLight, hex, inWords, slides, titleOf, turns} from './controls.mjs';
import {decode} from './files.mjs';
import {Console, clamp} from './screen.mjs';

const [BOARD, HOST] = [0, 1];
const NOTE_OFF = 0x80, NOTE_ON = 0x90, CONTROL_CHANGE = 0xB0;
const REST = 0x40, MOST_UNITS = 63, METER_ZERO = 0x30, MOST = 127;
const SCREEN_TAKING = 5;  // a note 0 before the one that would ask for all positions

// Plays a configuration in an engine. `told` is called with each message at the host's end,
// ('to_host' | 'from_host', bytes), `changed` with the index of each control that looks different, or null
// for the screen.
export class Player {
    #taking = false;

    constructor(engine, data, told = () => {}, changed = () => {}) {
        Object.assign(this, {engine, data, told, changed, console: new Console(), channel: data.channel ?? 0,
            states: data.controls.map(() => ({}))});
        engine.start();
        this.#send(BOARD, []);
    }

    // --- The ends ---

    #send(side, bytes) {
        const takers = [sent => this.told('to_host', sent), sent => this.#show(sent), sent => this.#write(sent)];
        for (const [to, ...sent] of this.engine.feed(side, bytes))
            takers[to](sent);
    }

    #write(bytes) {
        this.console.write(decode(String.fromCharCode(...bytes)));
        this.changed(null);
    }

    sendHost(bytes) {
        this.told('from_host', bytes);
        this.#send(HOST, bytes);
    }

    #show(bytes) {
        if (bytes[0] === NOTE_ON && bytes[1] === 0) {
            if (bytes[2] === 0 && !this.#taking)
                this.#report();
            this.#taking = bytes[2] === SCREEN_TAKING;
        }
        for (const {kind, index} of controlsOf(this.data, 'to_board', bytes)) {
            if (kind === 'meter')
                this.states[index].level = clamp(bytes[2] - METER_ZERO, 0, 7);
            else
                this.states[index].lit = bytes[2];
            this.changed(index);
        }
    }

    // Every position, as the board tells them when it is asked.
    #report() {
        this.data.controls.filter(one => one.kind === 'pot' && one.from_board)
            .forEach(one => this.set(one, this.valueOf(one)));
    }

    // --- Hands ---

    press({index, from_board: from}, isDown) {
        if (from?.type !== 'note')
            return;
        this.states[index].down = isDown;
        this.#send(BOARD, [isDown ? NOTE_ON : NOTE_OFF, from.number, isDown ? MOST : 0]);
        this.changed(index);
    }

    // What a pot was moved to, and what a meter was sent: 0 to 127.
    valueOf({kind, index}) {
        return this.states[index][kind === 'meter' ? 'sent' : 'position'] ?? 0;
    }

    set(control, value) {
        const seven = clamp(Math.round(value), 0, MOST), state = this.states[control.index];
        if (control.kind === 'meter') {
            state.sent = seven;
            this.sendHost([CONTROL_CHANGE | this.channel, control.from_host.number, seven]);
        } else {
            const eight = seven << 1 | seven >> 6;  // which the board sends
            state.position = seven;
            this.#send(BOARD, [CONTROL_CHANGE | eight >> 7, control.from_board.number, eight & MOST]);
        }
        this.changed(control.index);
    }

    // Turns a platter or the encoder by units; no units let it come to rest.
    spin(control, units) {
        const state = this.states[control.index], some = clamp(units, -MOST_UNITS, MOST_UNITS);
        state.angle = (state.angle ?? 0) + some;
        this.#send(BOARD, [CONTROL_CHANGE, control.from_board.number, REST + some]);
        if (some !== units)
            this.spin(control, units - some);
        this.changed(control.index);
    }

    // --- The host ---

    // A note of the host goes on, or off if `value` is 0.
    sendNote(number, value) {
        this.sendHost([(value > 0 ? NOTE_ON : NOTE_OFF) | this.channel, number, value]);
    }

    toggleLight({index, from_host: from}) {
        if (from?.type === 'note')
            this.sendNote(from.number, this.states[index].lit > 0 ? 0 : MOST);
    }

    // Lights all labels, at once.
    lightLabels() {
        const notes = new Set(this.data.labels.map(label => label.note).filter(note => note >= 0 && note <= MOST));
        this.#send(HOST, [...notes].flatMap(note => [NOTE_ON | this.channel, note, MOST]));
    }
}

// A line of the log: "90 3C 7F  note-on 60, velocity 127, channel 1: PLAY_A".
export function describe(data, end, bytes) {
    const names = controlsOf(data, end, bytes).map(titleOf);
    return `${hex(bytes)}  ${inWords(bytes)}: ${names.join(', ') || 'no control'}`;
}

// --- Mouse, touch and keys at the front ---

const STEP = {ArrowUp: 1, ArrowRight: 1, ArrowDown: -1, ArrowLeft: -1, PageUp: 16, PageDown: -16};
const PIXELS_A_UNIT = {encoder: 8, platter: 2, 'touched platter': 2};
const TRAVEL = 150;  // pixels of a knob; of a fader its own length

function drag({player, control, element, from, ...at}, event) {
    const right = event.clientX - at.x, up = at.y - event.clientY;
    if (turns(control)) {
        const angle = from + Math.trunc((right + up) / PIXELS_A_UNIT[control.kind]);
        if (angle !== player.states[control.index].angle)
            player.spin(control, angle - player.states[control.index].angle);
        return;
    }
    const {width, height} = element.querySelector('.slot')?.getBoundingClientRect() ?? {width: 0, height: TRAVEL};
    const moved = width > height ? right / width : up / height;
    const value = Math.round(clamp(from + moved * MOST, 0, MOST));
    if (slides(control) && value !== player.valueOf(control))
        player.set(control, value);
}

// `current()` gives {player, controlAt(element)}, or null when nothing is played.
export function handlePlaying(front, current) {
    const held = new Map();  // by pointer, or by key
    const at = event => {
        const playing = current(), element = event.target.closest('.c, .disc');
        const control = element && playing?.controlAt(element);
        return control?.from_board || control?.from_host ? {player: playing.player, element, control} : null;
    };
    const release = key => {
        const {player, control} = held.get(key) ?? {};
        held.delete(key);
        if (player && turns(control))
            player.spin(control, 0);
        else
            player?.press(control, false);
    };

    const takers = {
        pointerdown(event) {
            const what = at(event);
            if (!what || event.button > 0)
                return;
            const {player, control, element} = what, state = player.states[control.index];
            event.preventDefault();
            element.focus({preventScroll: true});
            if (control.kind === 'LED' || event.target.closest('.light')) {
                player.toggleLight(control);
                return;
            }
            element.setPointerCapture(event.pointerId);
            state.angle ??= 0;
            held.set(event.pointerId, {...what, x: event.clientX, y: event.clientY,
                from: turns(control) ? state.angle : player.valueOf(control)});
            player.press(control, true);
        },
        pointermove(event) {
            if (held.has(event.pointerId))
                drag(held.get(event.pointerId), event);
        },
        pointerup: event => release(event.pointerId),
        pointercancel: event => release(event.pointerId),
        keydown(event) {
            const what = at(event), {player, control} = what ?? {}, step = STEP[event.key];
            if (!what || event.ctrlKey || event.metaKey || event.altKey)
                return;
            const isPress = [' ', 'Enter'].includes(event.key), isSwitch = isPress && control.kind === 'LED';
            if (step && turns(control)) {
                player.spin(control, step * (control.step ?? 1));
                player.spin(control, 0);
            } else if (step && slides(control)) {
                player.set(control, player.valueOf(control) + step);
            } else if ((event.key === 'l' && hasLight(control)) || (isSwitch && !event.repeat)) {
                player.toggleLight(control);
            } else if (isPress && !slides(control) && !event.repeat) {
                held.set(event.key, what);
                player.press(control, true);
            } else if (!isPress) {
                return;
            }
            event.preventDefault();
        },
        keyup: event => release(event.key),
        focusout: () => [' ', 'Enter'].forEach(release),
    };
    Object.entries(takers).forEach(([name, take]) => front.addEventListener(name, take));
}
