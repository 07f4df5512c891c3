// The front of the controller: a deck, the mixer, the other deck, each control a button.
import {
    SIDES, findingsOf, hasLight, markOf, numberText, shortName, sideOf, slides, titleOf, turns,
} from './controls.mjs';
import {html} from './dom.mjs';

const STRIP = ['knobs', 'faders'];
const DECK = ['top', 'turning', 'effects', 'tempo', 'loops', 'pads', 'transport', 'keys', 'cross'];
const MIXER = ['top', 'turning', 'effects', 'tempo', 'loops', 'pads', 'keys', 'transport', ...STRIP, 'cross'];
const SEGMENTS = 7;

const part = (name, ...children) => html('span', {class: name}, ...children);

// What of a control is seen: a class for its form, and the part above its caption.
function form({kind, group, ...control}) {
    if (kind === 'meter')
        return ['meter', part('levels', Array.from({length: SEGMENTS}, () => html('i')))];
    if (['LED', 'button', 'spare'].includes(kind))
        return [kind === 'LED' ? 'lamp' : 'key', hasLight(control) || kind === 'LED' ? part('light') : null];
    if (group === 'turning' && turns({kind}))
        return ['turn', null];
    if (['cross', 'faders', 'turning'].includes(group))
        return [group === 'cross' ? 'crossing' : 'fader', part('slot', part('cap'))];
    return [turns({kind}) ? 'knob notched' : 'knob', part('dial')];
}

function drawControl(control, {findings, isPlaying}) {
    const found = findingsOf(findings, control), mark = markOf(found), [look, seen] = form(control);
    const spoken = [titleOf(control), control.kind, numberText(control),
        ...found.map(one => `${one.severity} ${one.number}`)];
    const isSlider = isPlaying && slides(control), hasEnds = isSlider && !turns(control);
    return html('button', {class: `c ${look}${control.line === null ? ' lost' : ''}`, type: 'button',
        'data-index': control.index, 'aria-label': spoken.join(', '),
        title: `${titleOf(control)} (${control.kind}, index ${control.index})`, role: isSlider && 'slider',
        'aria-valuemin': hasEnds && '0', 'aria-valuemax': hasEnds && (control.kind === 'meter' ? SEGMENTS : 127)},
    seen, part('n', shortName(control)), part('v', numberText(control)), mark && part(`m ${mark.level}`, mark.text));
}

// A fader stands beside the disc, what else turns on it.
function drawGroup(name, controls, draw) {
    const onDisc = controls.filter(one => name === 'turning' && one.kind !== 'pot');
    return html('div', {class: `group ${name}`}, controls.filter(one => !onDisc.includes(one)).map(draw),
        onDisc.length > 0 ? html('div', {class: 'disc'}, onDisc.map(draw)) : null);
}

function drawColumn(look, names, controls, draw, first = null) {
    const groups = names.map(name => [name, controls.filter(one => one.group === name)]);
    return html('div', {class: look}, first,
        groups.filter(([, some]) => some.length > 0).map(([name, some]) => drawGroup(name, some, draw)));
}

// Draws all three into an element, of {data, findings, isPlaying}; the screen is an element of the caller's.
export function drawFront(into, what, screen) {
    const held = document.activeElement?.closest('.c')?.dataset.index, draw = one => drawControl(one, what);
    into.replaceChildren(...Object.entries(SIDES).map(([side, title]) => {
        const own = what.data.controls.filter(one => sideOf(one) === side);
        return html('section', {class: `panel ${side}`, 'aria-label': title}, html('h2', {}, title),
            html('div', {class: 'columns'}, side === 'M' ? drawColumn('main', MIXER, own, draw, screen)
                : [drawColumn('main', DECK, own, draw), drawColumn('strip', STRIP, own, draw)]));
    }));
    if (held)
        elementOf(into, held)?.focus({preventScroll: true});
}

export const elementOf = (front, index) => front.querySelector(`.c[data-index="${index}"]`);

// Shows what is known of a control at this moment: {selected, position, angle, level, lit, down, heard}.
export function paint(element, {position, angle = 0, level = 0, lit = 0, ...is}) {
    for (const name of ['selected', 'down', 'heard'])
        element.classList.toggle(name, is[name] === true);
    element.querySelector('.light')?.classList.toggle('dark', lit === 0);
    element.style.setProperty('--lit', 0.35 + 0.65 * lit / 127);
    element.style.setProperty('--at', (position ?? 64) / 127);
    element.style.setProperty('--angle', `${angle * 6}deg`);
    element.querySelectorAll('.levels i').forEach(
        (segment, i) => segment.classList.toggle('on', SEGMENTS - i <= level));
    if (element.getAttribute('role') === 'slider')
        element.setAttribute('aria-valuenow', position ?? (angle || level));
    const states = [is.down && 'held', lit > 0 && `lit ${lit}`, level > 0 && `level ${level}`, is.heard && 'heard'];
    element.setAttribute('aria-description', states.filter(Boolean).join(', '));
}
