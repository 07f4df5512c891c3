// Playing: what hands do at the front, what the daemon makes of it, and what is known of each control.
import {controlsOf, hex, inWords, titleOf} from './controls.mjs';
import {decode} from './files.mjs';
import {hasLight, turns} from './front.mjs';
import {Console, clamp} from './screen.mjs';

const [BOARD, HOST] = [0, 1];
const NOTE_OFF = 0x80, NOTE_ON = 0x90, CONTROL_CHANGE = 0xB0;
const REST = 0x40, MOST_UNITS = 63, METER_ZERO = 0x30, MOST = 127;
const SCREEN_TAKING = 5;  // a note 0 before the one that would ask for all positions

// Plays a configuration in an engine. `told` is called with each message at the host's end,
// ('to_host' | 'from_host', bytes), `changed` with the index of each control that looks different.
export class Player {
    #taking = false;

    constructor(engine, data, told, changed) {
        Object.assign(this, {engine, data, told, changed, console: new Console(), states: new Map()});
        engine.start();
        this.#take(engine.feed(BOARD, []));
    }

    state(index) {
        if (!this.states.has(index))
            this.states.set(index, {});
        return this.states.get(index);
    }

    // --- The ends ---

    sendBoard(bytes) {
        this.#take(this.engine.feed(BOARD, bytes));
    }

    sendHost(bytes) {
        this.told('from_host', bytes);
        this.#take(this.engine.feed(HOST, bytes));
    }

    #take({host, board, console}) {
        console.forEach(bytes => this.console.write(decode(String.fromCharCode(...bytes))));
        host.forEach(bytes => this.told('to_host', bytes));
        board.forEach(bytes => this.#show(bytes));
        if (console.length > 0)
            this.changed(null);
    }

    #show(bytes) {
        if (bytes[0] === NOTE_ON && bytes[1] === 0) {
            if (bytes[2] === 0 && !this.#taking)
                this.#report();
            this.#taking = bytes[2] === SCREEN_TAKING;
        }
        for (const one of controlsOf(this.data, 'to_board', bytes)) {
            if (one.kind === 'meter')
                this.state(one.index).level = clamp(bytes[2] - METER_ZERO, 0, 7);
            else
                this.state(one.index).lit = bytes[2];
            this.changed(one.index);
        }
    }

    // Every position, as the board tells them when it is asked.
    #report() {
        this.data.controls.filter(one => one.kind === 'pot')
            .forEach(one => this.turn(one, this.state(one.index).position ?? 0));
    }

    // --- Hands ---

    press(control, isDown) {
        if (control.from_board?.type !== 'note')
            return;
        this.state(control.index).down = isDown;
        this.sendBoard([isDown ? NOTE_ON : NOTE_OFF, control.from_board.number, isDown ? MOST : 0]);
        this.changed(control.index);
    }

    // Moves a pot to a position of 0 to 127; the board sends eight bits.
    turn(control, position) {
        const seven = clamp(Math.round(position), 0, MOST), eight = seven << 1 | seven >> 6;
        this.state(control.index).position = seven;
        this.sendBoard([CONTROL_CHANGE | eight >> 7, control.from_board.number, eight & MOST]);
        this.changed(control.index);
    }

    // Turns a platter or the encoder by units, and lets it come to rest.
    spin(control, units) {
        const state = this.state(control.index);
        state.angle = (state.angle ?? 0) + units;
        for (let left = units; left !== 0;) {
            const some = clamp(left, -MOST_UNITS, MOST_UNITS);
            this.sendBoard([CONTROL_CHANGE, control.from_board.number, REST + some]);
            left -= some;
        }
        this.changed(control.index);
    }

    rest(control) {
        this.sendBoard([CONTROL_CHANGE, control.from_board.number, REST]);
    }

    // --- The host ---

    get channel() {
        return this.data.channel ?? 0;
    }

    // A note of the host goes on, or off if `value` is 0.
    sendNote(number, value) {
        this.sendHost([(value > 0 ? NOTE_ON : NOTE_OFF) | this.channel, number, value]);
    }

    toggleLight(control) {
        if (control.from_host?.type === 'note')
            this.sendNote(control.from_host.number, this.state(control.index).lit > 0 ? 0 : MOST);
    }

    setMeter(control, value) {
        this.state(control.index).sent = clamp(Math.round(value), 0, MOST);
        this.sendHost([CONTROL_CHANGE | this.channel, control.from_host.number,
            this.state(control.index).sent]);
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

// `current()` gives {player, control(element)}, or null when nothing is played.
export function handlePlaying(front, current) {
    const held = new Map();  // by pointer, or by key
    const at = event => {
        const playing = current(), element = event.target.closest?.('.c, .disc');
        const control = element && playing?.control(element);
        return control ? {...playing, element, control} : null;
    };

    front.addEventListener('pointerdown', event => {
        const what = at(event);
        if (!what || event.button > 0)
            return;
        const {player, control, element} = what, state = player.state(control.index);
        event.preventDefault();
        element.focus({preventScroll: true});
        element.setPointerCapture(event.pointerId);
        const isLight = control.kind === 'LED' || event.target.closest('.light');
        held.set(event.pointerId, {...what, isLight, x: event.clientX, y: event.clientY, rest: 0,
            from: (control.kind === 'meter' ? state.sent : state.position) ?? 0});
        if (isLight)
            player.toggleLight(control);
        else
            player.press(control, true);
    });

    front.addEventListener('pointermove', event => {
        const drag = held.get(event.pointerId);
        if (drag)
            move(drag, event);
    });

    function move(drag, event) {
        const {player, control, element} = drag;
        const slot = element.querySelector('.slot')?.getBoundingClientRect();
        const across = slot && slot.width > slot.height;
        const moved = across ? event.clientX - drag.x
            : turns(control) ? event.clientX - drag.x + drag.y - event.clientY : drag.y - event.clientY;
        if (turns(control)) {
            const units = Math.trunc((moved - drag.rest) / PIXELS_A_UNIT[control.kind]);
            drag.rest += units * PIXELS_A_UNIT[control.kind];
            if (units !== 0)
                player.spin(control, units);
            return;
        }
        const travel = slot ? Math.max(slot.width, slot.height) : TRAVEL;
        const position = Math.round(clamp(drag.from + moved / travel * MOST, 0, MOST));
        const before = player.state(control.index);
        if (control.kind === 'pot' && position !== before.position)
            player.turn(control, position);
        else if (control.kind === 'meter' && position !== before.sent)
            player.setMeter(control, position);
    }

    const release = event => {
        const drag = held.get(event.pointerId);
        held.delete(event.pointerId);
        if (drag && turns(drag.control))
            drag.player.rest(drag.control);
        else if (drag && !drag.isLight)
            drag.player.press(drag.control, false);
    };
    front.addEventListener('pointerup', release);
    front.addEventListener('pointercancel', release);

    front.addEventListener('keydown', event => {
        const what = at(event);
        if (!what || event.ctrlKey || event.metaKey || event.altKey)
            return;
        const {player, control} = what, step = STEP[event.key], state = player.state(control.index);
        const isPress = event.key === ' ' || event.key === 'Enter';
        if (event.key === 'l' && hasLight(control)) {
            player.toggleLight(control);
        } else if (isPress && !event.repeat && control.kind === 'LED') {
            player.toggleLight(control);
        } else if (isPress && !event.repeat && control.kind === 'button') {
            held.set(event.key, what);
            player.press(control, true);
        } else if (step && turns(control)) {
            player.spin(control, step * (control.step ?? 1));
            player.rest(control);
        } else if (step && control.kind === 'pot') {
            player.turn(control, (state.position ?? 0) + step);
        } else if (step && control.kind === 'meter') {
            player.setMeter(control, (state.sent ?? 0) + step);
        } else if (!isPress) {
            return;
        }
        event.preventDefault();
    });
    const letGo = key => {
        const what = held.get(key);
        held.delete(key);
        what?.player.press(what.control, false);
    };
    front.addEventListener('keyup', event => letGo(event.key));
    front.addEventListener('focusout', () => ['Enter', ' '].forEach(letGo));
}

// Roles for assistive software while the front is played.
export function setRoles(element, control) {
    const slides = ['pot', 'meter'].includes(control.kind) || turns(control);
    if (slides) {
        element.setAttribute('role', 'slider');
        if (!turns(control)) {
            element.setAttribute('aria-valuemin', 0);
            element.setAttribute('aria-valuemax', control.kind === 'meter' ? 7 : MOST);
        }
    }
}
