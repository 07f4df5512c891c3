// The front of the controller: a deck, the mixer, the other deck, each control a button.
import {findingsOf, markOf, numberText, shortName, sideOf, titleOf} from './controls.mjs';
import {html} from './dom.mjs';

const SIDES = {A: 'Deck A', M: 'Mixer', B: 'Deck B'};
const STRIP = ['knobs', 'faders'];
const DECK = ['top', 'turning', 'effects', 'tempo', 'loops', 'pads', 'transport', 'keys', 'cross'];
const MIXER = ['top', 'turning', 'effects', 'tempo', 'loops', 'pads', 'keys', 'transport', 'knobs',
    'faders', 'cross'];
const SEGMENTS = 7;

export const turns = control => ['platter', 'touched platter', 'encoder'].includes(control.kind);
export const hasLight = control => control.to_board?.type === 'note' && control.from_host;

// What of a control is seen: a class for its form, and the parts above its caption.
function form(control) {
    const {kind, group} = control;
    if (kind === 'meter')
        return ['meter', html('span', {class: 'levels'}, Array.from({length: SEGMENTS}, () => html('i')))];
    if (kind === 'LED')
        return ['lamp', html('span', {class: 'light'})];
    if (kind === 'button' || kind === 'spare')
        return ['key', hasLight(control) ? html('span', {class: 'light'}) : null];
    if (group === 'turning' && turns(control))
        return ['turn', null];
    if (group === 'cross')
        return ['crossing', html('span', {class: 'slot'}, html('span', {class: 'cap'}))];
    if (group === 'faders' || group === 'turning')
        return ['fader', html('span', {class: 'slot'}, html('span', {class: 'cap'}))];
    return [turns(control) ? 'knob notched' : 'knob', html('span', {class: 'dial'})];
}

function drawControl(control, report) {
    const found = findingsOf(report, control.index), mark = markOf(found);
    const [look, parts] = form(control);
    const spoken = [titleOf(control), control.kind, numberText(control),
        ...found.map(one => `${one.severity} ${one.number}`)];
    return html('button',
        {class: `c ${look}${control.line === null ? ' lost' : ''}`, type: 'button',
            'data-index': control.index, 'aria-label': spoken.join(', '),
            title: `${titleOf(control)} (${control.kind}, index ${control.index})`},
        parts, html('span', {class: 'n'}, shortName(control)),
        html('span', {class: 'v'}, numberText(control)),
        mark && html('span', {class: `m ${mark.level}`}, mark.text));
}

function drawGroup(name, controls, report) {
    const draw = one => drawControl(one, report);
    if (name !== 'turning')
        return html('div', {class: `group ${name}`}, controls.map(draw));
    const faders = controls.filter(one => one.kind === 'pot');
    const others = controls.filter(one => one.kind !== 'pot');
    return html('div', {class: 'group turning'}, faders.map(draw),
        others.length > 0 ? html('div', {class: 'disc'}, others.map(draw)) : null);
}

function drawColumn(look, names, controls, report, first = null) {
    const groups = names.map(name => [name, controls.filter(one => one.group === name)]);
    return html('div', {class: look}, first, groups.filter(([, some]) => some.length > 0)
        .map(([name, some]) => drawGroup(name, some, report)));
}

// Draws all three into an element; the screen is an element of the caller's.
export function drawFront(into, data, report, screen) {
    const held = document.activeElement?.closest?.('.c')?.dataset.index;
    into.replaceChildren(...Object.entries(SIDES).map(([side, title]) => {
        const own = data.controls.filter(one => sideOf(one) === side);
        const columns = side === 'M'
            ? [drawColumn('main', MIXER, own, report, screen)]
            : [drawColumn('main', DECK, own, report), drawColumn('strip', STRIP, own, report)];
        return html('section', {class: `panel ${side}`, 'aria-label': title},
            html('h2', {}, title), html('div', {class: 'columns'}, columns));
    }));
    if (held !== undefined)
        elementOf(into, held)?.focus({preventScroll: true});
}

export const elementOf = (front, index) => front.querySelector(`.c[data-index="${index}"]`);

// Shows what is known of a control at this moment: {position, angle, level, lit, down, heard}.
export function paint(element, control, state) {
    if (!element)
        return;
    element.classList.toggle('down', state.down === true);
    element.classList.toggle('heard', state.heard === true);
    const light = element.querySelector('.light');
    if (light) {
        light.classList.toggle('dark', !(state.lit > 0));
        light.style.setProperty('--lit', 0.35 + 0.65 * (state.lit ?? 0) / 127);
    }
    element.style.setProperty('--at', (state.position ?? 64) / 127);
    element.style.setProperty('--angle', `${(state.angle ?? 0) * 6}deg`);
    element.querySelectorAll('.levels i').forEach(
        (segment, i) => segment.classList.toggle('on', SEGMENTS - i <= (state.level ?? 0)));
    const slides = element.getAttribute('role') === 'slider';
    if (slides)
        element.setAttribute('aria-valuenow', state.position ?? state.angle ?? state.level ?? 0);
    const states = [state.down && 'held', state.lit > 0 && `lit ${state.lit}`,
        state.level > 0 && `level ${state.level}`, state.heard && 'heard'].filter(Boolean);
    element.setAttribute('aria-description', states.join(', '));
}
