// The tables below the front: labels, controls, the MIDI implementation chart, findings.
import {SIDES, findingsOf, findingsOfLabel, sideOf, titleOf} from './controls.mjs';
import {decode} from './files.mjs';
import {html, svg} from './dom.mjs';
import {colorsOfSequence} from './screen.mjs';

const lines = parts => parts.flatMap((one, i) => (i > 0 ? [html('br'), one] : [one]));
const codes = end => lines((end?.bytes ?? []).map(text => html('code', {}, text)));
const linkTo = control => html('a', {href: `#c${control.index}`}, titleOf(control));
const linksTo = found => found.map(({severity, number}) =>
    [' ', html('a', {class: severity, href: `#f${number}`}, `${severity} ${number}`)]);

const row = (attributes, first, ...cells) => html('tr', attributes, html('th', {scope: 'row'}, first),
    cells.map(one => html('td', {class: one === 'X' && 'no'}, one)));

// A narrow screen has no heads of columns, so each cell knows its own.
function table(look, columns, ...bodies) {
    const heads = columns.map(name => html('th', {scope: 'col'}, name));
    const all = html('table', {class: look}, html('thead', {}, html('tr', {}, heads)),
        bodies.map(rows => html('tbody', {}, rows)));
    all.querySelectorAll('td').forEach(one => (one.dataset.l = columns[one.cellIndex]));
    return all;
}

// --- Labels ---

function chip(name, sequence) {
    const [fore, back] = colorsOfSequence(sequence ?? '');
    return [svg('svg', {class: 'chip', viewBox: '0 0 20 14', 'aria-hidden': 'true'},
        svg('rect', {width: 20, height: 14, rx: 2, fill: back}),
        svg('rect', {x: 4, y: 5, width: 12, height: 4, fill: fore})), ' ', name ?? 'not in the list'];
}

export function drawLabels({labels}, findings) {
    const rows = labels.map(label => row({}, [label.place, linksTo(findingsOfLabel(findings, label))],
        label.row ? `${label.row}, ${label.column}` : 'where the cursor stands', label.text.trimEnd(),
        `${label.note}${label.drawn ? '' : ', not drawn'}`, label.control && linkTo(label.control),
        chip(label.on_color, label.on_sequence), chip(label.off_color, label.off_sequence)));
    return rows.length === 0 ? html('p', {}, 'There are no labels.')
        : table('labels', ['Label', 'Row, column', 'Text', 'Note', 'Control', 'On', 'Off'], rows);
}

// --- Controls ---

const VALUES = {
    absolute: 'absolute: 0-127', meter: '0-127 in 8 levels', spare: 'not connected', button: 'on press 127',
};

function values(one) {
    const first = one.mode !== 'relative' ? VALUES[one.mode ?? one.kind]
        : `relative: 65-127 clockwise, 63-1 back${one.rests ? ', 64 at rest' : ''}; ` +
            `${one.step} unit${one.step === 1 ? '' : 's'} a step`;
    const isLit = one.from_host?.type === 'note' && one.to_board?.type === 'note';
    const light = isLit && `LED 0-127, ${one.off_darkens ? 'off by note-off' : 'also by note-off'}` +
        (one.index === 81 ? '; makes the next value of every LED and meter go out again' : '');
    return lines([first, light].filter(Boolean));
}

function controlRow(one, findings) {
    const label = one.label ? `, label \u201c${one.label.text.trim()}\u201d` : '';
    const about = html('small', {}, ` ${one.kind}${label}${one.line === null ? ', no line' : ''}`);
    return row({id: `c${one.index}`}, [one.name || 'no name', about, linksTo(findingsOf(findings, one))],
        String(one.index), codes(one.from_board), codes(one.to_host), codes(one.from_host), codes(one.to_board),
        values(one), String(one.passes ?? ''));
}

export function drawControls({controls}, findings) {
    const columns = ['Control', 'Index', 'From the board', 'To the host', 'From the host', 'To the board', 'Values',
        'Passes'];
    const bodies = Object.entries(SIDES).map(([side, title]) => [
        html('tr', {}, html('th', {scope: 'rowgroup', colspan: columns.length}, title)),
        controls.filter(one => sideOf(one) === side).map(one => controlRow(one, findings))]);
    return table('controls', columns, ...bodies.filter(([, rows]) => rows.length > 0));
}

// --- MIDI implementation chart, in the form in which makers of instruments publish it ---

// "7-27, 30" of numbers; X for none.
function ranges(numbers, before = '') {
    const own = new Set(numbers.filter(one => one >= 0 && one < 128)), sorted = [...own].sort((a, b) => a - b);
    const [firsts, lasts] = [-1, 1].map(step => sorted.filter(one => !own.has(one + step)));
    const parts = firsts.map((first, i) => (first === lasts[i] ? first : `${first}-${lasts[i]}`));
    return parts.length === 0 ? 'X' : before + parts.join(', ');
}

// Function, detail, transmitted, recognized, remarks; what is left out is X, X and no remark.
function chartRows({controls, labels, channel}) {
    const numbers = (end, type, use = () => true) =>
        controls.filter(one => one[end]?.type === type && use(one)).map(one => one[end].number);
    const isLit = one => one.to_board?.type === 'note' || one.index === 81;
    const drawn = labels.filter(one => one.drawn).map(one => one.note);
    const used = list => (channel === null ? 'X' : list);
    return [
        ['Basic Channel', 'Default', `${(channel ?? 0) + 1}`, used(`${channel + 1}`),
            'setting midi_channel + 1, or option -m'],
        ['', 'Changed', '1-16', '1-16', 'at start'],
        ['Mode', 'Default'], ['', 'Messages'], ['', 'Altered'],
        ['Note Number', '', ranges(numbers('to_host', 'note')),
            used(ranges([...numbers('from_host', 'note', isLit), ...drawn])),
            '0-127 by the mapping: buttons; LEDs, labels'],
        ['', 'True Voice'],
        ['Velocity', 'Note ON', 'O 9nH v=127', 'O v=0-127', 'received: value of the LED'],
        ['', 'Note OFF', 'O 8nH v=0-127', 'O 8nH v=0-127', 'sent: as received from the board'],
        ['Aftertouch', 'Keys'], ['', 'Channel'],
        ['Pitch Bend', ''],
        ['Control Change', '', ranges(numbers('to_host', 'controller'), 'O '),
            used(ranges(numbers('from_host', 'controller'), 'O ')),
            '0-127 by the mapping: pots, platters, encoder; meters'],
        ['Program Change', ''], ['', 'True #'],
        ['System Exclusive', '', 'O', 'O', 'sent: what the board sends, Identity Reply; received: Identity Request'],
        ['System Common', 'Song Position'], ['', 'Song Select'], ['', 'Tune Request'],
        ['System Real Time', 'Clock', 'X', 'X', 'a real-time byte inside a message breaks it'], ['', 'Commands'],
        ['Aux Messages', 'Local ON/OFF'], ['', 'All Notes OFF'], ['', 'Active Sensing'], ['', 'System Reset'],
        ['Notes', '', '', '', 'No running status. A note-on with velocity 0 is not a note-off. Without ' +
            'a valid channel, everything is sent on channel 1 and no channel message is recognized.'],
    ];
}

export function drawChart(data) {
    let last = '';
    const rows = chartRows(data).map(([name, detail, sent = 'X', heard = 'X', remarks = '']) => {
        last = name || last;
        const named = html('span', {class: name === '' && 'hidden'}, last);
        return row({class: name !== '' && 'first'}, named, detail, sent, heard, remarks);
    });
    return table('midi', ['Function', 'Detail', 'Transmitted', 'Recognized', 'Remarks'], rows);
}

// --- Findings ---

// `open` is called with a finding whose place is to be shown.
export function drawFindings(data, findings, open) {
    const items = findings.map(one => {
        const control = data?.controls[one.control ?? -1], place = one.line > 0 ? `${one.file}:${one.line}` : one.file;
        return html('li', {id: `f${one.number}`}, html('b', {class: one.severity}, one.severity), ' ',
            html('button', {type: 'button', class: 'place', onclick: () => open(one)}, place), ` ${one.text} `,
            html('small', {}, `[${one.rule}]`), control && [' ', linkTo(control)]);
    });
    return items.length > 0 ? html('ol', {}, items) : html('p', {}, 'None.');
}

// --- Differences ---

export function drawDifference(name, parts) {
    let next = 0;
    const rows = parts.map(([mark, line, number]) => {
        const gap = mark !== '+' && next > 0 && number > next ? '\u22ef\n' : '';
        next = mark === '+' ? next : number + 1;
        const look = {'+': 'ins', '-': 'del', ' ': 'span'}[mark];
        return [gap, html(look, {}, `${mark} ${decode(line).replace(/\r?\n?$/, '')}\n`)];
    });
    return html('div', {class: 'difference'}, html('h3', {}, name), html('pre', {}, rows));
}
