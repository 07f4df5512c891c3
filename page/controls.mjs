// What is known of controls from the engine's export: who has a number, what a message is about.
import {BASE, LABELS, PLACES, fieldsOf, linesOf, presetFile, recordsOf} from './files.mjs';

const FIRST_CHANNEL_MODE = 120;  // controllers from here on are not for controls

export const titleOf = control => control.name || `index ${control.index}`;

// As the front shows it: without the end that tells the deck, underscores as blanks.
export function shortName(control) {
    const {name, index} = control, isDeck = sideOf(control) !== 'M' && name.length > 2;
    const bare = isDeck ? name.replace(/_[AB]$/, '') : name;
    return /^_*$/.test(bare) ? `index ${index}` : bare.replaceAll('_', ' ').trim();
}

// Where it stands: by the end of its name, and without a name where it was built in.
const BUILT_IN = {'deck A': 'A', mixer: 'M', 'deck B': 'B'};
export function sideOf({name, side}) {
    return name === '' ? BUILT_IN[side] : /_([AB])$/.exec(name)?.[1] ?? 'M';
}

export const isNote = control => ['button', 'LED', 'spare'].includes(control.kind);

// Adds what the files tell: the lines of places, and each control's number, that of a control which has
// no message as well, because another one or no channel leaves it none.
export function withNumbers(data, files) {
    const fieldOf = (file, line, at) => Number(fieldsOf(linesOf(files.text(file))[line - 1] ?? '')[at]);
    data.places = recordsOf(files.text(PLACES));
    for (const one of data.controls) {
        const written = one.preset_line ? fieldOf(presetFile(data.preset), one.preset_line, 1)
            : one.line ? fieldOf(BASE, one.line, 2) : NaN;
        const known = (one.to_host ?? one.from_host)?.number ?? (Number.isInteger(written) ? written : null);
        one.number = one.kind === 'spare' ? null : known;
    }
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

// Every label once, with its control if it has one, in the order of their places: in that one notes
// find them.
export function labelsOf({controls, other_labels: others, places = []}) {
    const lineOf = ({place}) => places.find(record => record.fields[2] === place)?.line ?? 0;
    const labels = controls.filter(one => one.label).map(one => ({...one.label, control: one.index}));
    return [...labels, ...others.map(label => ({...label, control: null}))]
        .map(label => ({...label, placeLine: lineOf(label)}))
        .sort((a, b) => a.placeLine - b.placeLine);
}

// Who else has which number of notes or controllers: a map of numbers and titles.
function taken(data, control, type) {
    const all = new Map(), add = (number, name) => all.set(number, [...all.get(number) ?? [], name]);
    for (const one of data.controls) {
        const isOther = one !== control && one.number !== null && isNote(one) === (type === 'note');
        if (isOther)
            new Set([one.number, one.from_host?.number ?? one.number]).forEach(number => add(number, titleOf(one)));
    }
    if (type === 'note')
        labelsOf(data).filter(label => label.control === null)
            .forEach(label => add(label.note, `the label \u201c${label.text.trim()}\u201d`));
    return all;
}

export const holders = (data, control, type, number) => taken(data, control, type).get(number) ?? [];

// Up to `count` numbers that nobody has, the nearest to a number first.
export function freeNumbers(data, control, type, number, count) {
    const others = taken(data, control, type), end = type === 'note' ? 128 : FIRST_CHANNEL_MODE;
    return [...Array(end).keys()].filter(one => one !== number && !others.has(one))
        .sort((a, b) => Math.abs(a - number) - Math.abs(b - number) || a - b).slice(0, count);
}

export const hex = bytes =>
    [...bytes].map(byte => byte.toString(16).toUpperCase().padStart(2, '0')).join(' ');

const KINDS = {0x80: 'note-off', 0x90: 'note-on', 0xA0: 'key pressure', 0xB0: 'control change',
    0xC0: 'program change', 0xD0: 'channel pressure', 0xE0: 'pitch bend'};

// A message at the host's end in words: "note-on 60, velocity 127".
export function inWords([status, number, value]) {
    if (status >= 0xF0)
        return status === 0xF0 ? 'system exclusive' : 'system message';
    const name = KINDS[status & 0xF0], channel = `channel ${(status & 15) + 1}`;
    if (value === undefined)
        return `${name} ${number}, ${channel}`;
    return `${name} ${number}, ${(status & 0xF0) === 0xB0 ? 'value' : 'velocity'} ${value}, ${channel}`;
}

const sameKind = (end, status) =>
    end && ((end.type === 'note' && ((status & 0xE0) === 0x80)) ||
        (end.type === 'controller' && (status & 0xF0) === 0xB0));

// The controls that a message at an end ("to_host", "from_host", "to_board") belongs to.
export function controlsOf(data, end, [status, number]) {
    const known = end === 'to_board' || (status & 15) === (data.channel ?? 0);
    return data.controls.filter(
        one => known && sameKind(one[end], status) && one[end].number === number);
}

// Findings about a control, with their numbers from 1.
export const findingsOf = (report, index) => numbered(report).filter(one => one.control === index);
const numbered = report => report.findings.map((one, i) => ({...one, number: i + 1}));

// Findings about a label: those of its line, and of its place's.
export function findingsOfLabel(report, label) {
    return numbered(report).filter(one => one.line > 0 && (one.file === LABELS ? one.line === label.line
        : one.file === PLACES && one.line === label.placeLine));
}

// The worst of findings and the text of their mark; null without any.
export function markOf(findings) {
    const level = ['error', 'warning', 'note'].find(
        name => findings.some(one => one.severity === name));
    return level ? {level, text: findings[0].number + (findings.length > 1 ? '+' : '')} : null;
}
