// What is known of controls from the engine's export: who has a number, what a message is about.
import {BASE, LABELS, PLACES, fieldOf, presetFile, recordsOf} from './files.mjs';

const FIRST_CHANNEL_MODE = 120;  // controllers from here on are not for controls

export const titleOf = control => control.name || `index ${control.index}`;

// As the front shows it: without the end that tells the deck, underscores as blanks.
export function shortName(control) {
    const {name, index} = control, isDeck = sideOf(control) !== 'M' && name.length > 2;
    const bare = isDeck ? name.replace(/_[AB]$/, '') : name;
    return /^_*$/.test(bare) ? `index ${index}` : bare.replaceAll('_', ' ').trim();
}

// Where it stands: by the end of its name, and without a name where it was built in.
export const SIDES = {A: 'Deck A', M: 'Mixer', B: 'Deck B'};
const BUILT_IN = {'deck A': 'A', mixer: 'M', 'deck B': 'B'};
export const sideOf = ({name, side}) => (name === '' ? BUILT_IN[side] : /_([AB])$/.exec(name)?.[1] ?? 'M');

export const isNote = control => ['button', 'LED', 'spare'].includes(control.kind);
export const turns = control => ['platter', 'touched platter', 'encoder'].includes(control.kind);
export const slides = control => turns(control) || ['pot', 'meter'].includes(control.kind);
export const hasLight = control => control.to_board?.type === 'note' && control.from_host;

// Adds what the files tell: each control's number, also of one that has no message because another
// one or no channel leaves it none; and every label once, with its control if it has one, in the order
// of the places' lines: in that one notes find them.
export function completed(data, files) {
    const base = files.text(BASE), preset = files.text(presetFile(data.preset));
    for (const one of data.controls) {
        const written = one.preset_line ? fieldOf(preset, one.preset_line, 1) : fieldOf(base, one.line, 2);
        one.number = one.kind === 'spare' ? null
            : (one.to_host ?? one.from_host)?.number ?? (/^-?\d+$/.test(written) ? Number(written) : null);
    }
    const places = recordsOf(files.text(PLACES));
    const lineOf = ({place}) => places.find(({fields}) => fields[2] === place)?.line ?? 0;
    const labels = data.controls.filter(one => one.label).map(one => ({...one.label, control: one}));
    data.labels = [...labels, ...data.other_labels].map(label => ({...label, placeLine: lineOf(label)}))
        .sort((a, b) => a.placeLine - b.placeLine);
    return data;
}

// "note 60", in brackets where it has no effect; after an arrow the number that the host sends where
// it is another one.
export function numberText(control) {
    const {to_host: to, from_host: from, number} = control;
    const text = `${isNote(control) ? 'note' : 'CC'} ${number}`;
    if (!to && !from)
        return number === null ? 'no number' : `(${text})`;
    return to && from && from.number !== to.number ? `${text} \u2190 ${from.number}` : text;
}

// The titles of all others that have a number of the control's sort.
export function holders(data, control, number) {
    const others = data.controls.filter(one => one !== control && isNote(one) === isNote(control) &&
        one.number !== null && [one.number, one.from_host?.number].includes(number)).map(titleOf);
    const labels = data.labels.filter(label => isNote(control) && !label.control && label.note === number);
    return [...others, ...labels.map(label => `the label \u201c${label.text.trim()}\u201d`)];
}

// Up to `count` numbers that nobody has, the nearest to a number first.
export function freeNumbers(data, control, number, count) {
    return [...Array(isNote(control) ? 128 : FIRST_CHANNEL_MODE).keys()]
        .filter(one => one !== number && holders(data, control, one).length === 0)
        .sort((a, b) => Math.abs(a - number) - Math.abs(b - number) || a - b).slice(0, count);
}

export const hex = bytes => [...bytes].map(byte => byte.toString(16).toUpperCase().padStart(2, '0')).join(' ');

const KINDS = {0x80: 'note-off', 0x90: 'note-on', 0xA0: 'key pressure', 0xB0: 'control change',
    0xC0: 'program change', 0xD0: 'channel pressure', 0xE0: 'pitch bend'};

// A message at the host's end in words: "note-on 60, velocity 127".
export function inWords([status, number, value]) {
    if (status >= 0xF0)
        return status === 0xF0 ? 'system exclusive' : 'system message';
    const amount = value === undefined ? '' : `, ${(status & 0xF0) === 0xB0 ? 'value' : 'velocity'} ${value}`;
    return `${KINDS[status & 0xF0]} ${number}${amount}, channel ${(status & 15) + 1}`;
}

// The controls that a message at an end ("to_host", "from_host", "to_board") belongs to.
export function controlsOf(data, end, [status, number]) {
    const isKnown = end === 'to_board' || (status & 15) === (data.channel ?? 0);
    const type = {0x80: 'note', 0x90: 'note', 0xB0: 'controller'}[status & 0xF0];
    return data.controls.filter(one => isKnown && type && one[end]?.type === type && one[end].number === number);
}

// Findings about a control, and about a label: those of its line, and of its place's.
export const findingsOf = (findings, control) => findings.filter(one => one.control === control.index);
export const findingsOfLabel = (findings, label) => findings.filter(({file, line}) =>
    line > 0 && ((file === LABELS && line === label.line) || (file === PLACES && line === label.placeLine)));

// The worst of findings and the text of their mark; null without any.
export function markOf(found) {
    const level = ['error', 'warning', 'note'].find(name => found.some(one => one.severity === name));
    return level ? {level, text: found[0].number + (found.length > 1 ? '+' : '')} : null;
}
