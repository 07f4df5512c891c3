// The tables below the front: labels, controls, the MIDI implementation chart, findings.
import {findingsOf, findingsOfLabel, labelsOf, sideOf, titleOf} from './controls.mjs';
import {decode} from './files.mjs';
import {html, svg} from './dom.mjs';
import {colorsOfSequence} from './screen.mjs';

const cell = (label, ...content) => html('td', {'data-l': label}, ...content);
const lines = texts => texts.flatMap((text, i) => (i > 0 ? [html('br'), text] : [text]));
const codes = texts => lines(texts.map(text => html('code', {}, text)));

function head(...names) {
    return html('thead', {}, html('tr', {}, names.map(
        name => html('th', {scope: 'col'}, name))));
}

function findingLinks(found) {
    return found.flatMap(one => [' ', html('a', {class: one.severity, href: `#f${one.number}`},
        `${one.severity} ${one.number}`)]);
}

// --- Labels ---

function chip(name, sequence) {
    const [fore, back] = colorsOfSequence(sequence ?? '');
    return [svg('svg', {class: 'chip', viewBox: '0 0 20 14', 'aria-hidden': 'true'},
        svg('rect', {width: 20, height: 14, rx: 2, fill: back}),
        svg('rect', {x: 4, y: 5, width: 12, height: 4, fill: fore})), ' ', name ?? 'not in the list'];
}

export function drawLabels(data, report) {
    const rows = labelsOf(data).map(label => {
        const found = findingsOfLabel(report, label);
        const name = label.control === null ? '' : titleOf(data.controls[label.control]);
        return html('tr', {}, html('th', {scope: 'row'}, label.place, findingLinks(found)),
            cell('Place', `${label.row}, ${label.column}`), cell('Text', label.text.trimEnd()),
            cell('Note', label.drawn ? String(label.note) : `${label.note}, not drawn`),
            cell('Control', name && html('a', {href: `#c${label.control}`}, name)),
            cell('On', chip(label.on_color, label.on_sequence)),
            cell('Off', chip(label.off_color, label.off_sequence)));
    });
    if (rows.length === 0)
        return [html('p', {}, 'There are no labels.')];
    return [html('table', {class: 'labels'}, html('caption', {}, 'Labels'),
        head('Key', 'Row, column', 'Text', 'Note', 'Control', 'On', 'Off'),
        html('tbody', {}, rows))];
}

// --- Controls ---

function values(one) {
    const texts = [];
    if (one.mode === 'relative')
        texts.push(`relative: 65-127 clockwise, 63-1 back${one.rests ? ', 64 at rest' : ''}; ` +
            `${one.step} unit${one.step === 1 ? '' : 's'} a step`);
    else if (one.mode === 'absolute')
        texts.push('absolute: 0-127');
    else if (one.kind === 'meter')
        texts.push('0-127 in 8 levels');
    else if (one.kind === 'spare')
        texts.push('not connected');
    else if (one.kind === 'button')
        texts.push('on press 127');
    if (one.from_host?.type === 'note' && one.to_board?.type === 'note')
        texts.push(`LED 0-127, ${one.off_darkens ? 'off by note-off' : 'also by note-off'}` +
            (one.index === 81 ? '; makes the next value of every LED and meter go out again' : ''));
    return lines(texts);
}

function controlRow(one, report) {
    const label = one.label ? `, label \u201c${one.label.text.trim()}\u201d` : '';
    const lost = one.line === null ? ', no line' : '';
    return html('tr', {id: `c${one.index}`},
        html('th', {scope: 'row'}, one.name || 'no name',
            html('small', {}, ` ${one.kind}${label}${lost}`), findingLinks(findingsOf(report, one.index))),
        cell('Index', String(one.index)),
        cell('From the board', codes(one.from_board?.bytes ?? [])),
        cell('To the host', codes(one.to_host?.bytes ?? [])),
        cell('From the host', codes(one.from_host?.bytes ?? [])),
        cell('To the board', codes(one.to_board?.bytes ?? [])),
        cell('Values', values(one)), cell('Passes', one.passes ? String(one.passes) : ''));
}

export function drawControls(data, report) {
    const columns = ['Control', 'Index', 'From the board', 'To the host', 'From the host',
        'To the board', 'Values', 'Passes'];
    const bodies = [['A', 'Deck A'], ['M', 'Mixer'], ['B', 'Deck B']].map(([side, title]) => {
        const own = data.controls.filter(one => sideOf(one) === side);
        return own.length > 0 && html('tbody', {},
            html('tr', {}, html('th', {scope: 'rowgroup', colspan: columns.length}, title)),
            own.map(one => controlRow(one, report)));
    });
    return html('table', {class: 'controls'}, head(...columns), bodies.filter(Boolean));
}

// --- MIDI implementation chart, in the form in which makers of instruments publish it ---

// "7-27, 30" of numbers; X for none.
function ranges(numbers, before = '') {
    const own = [...new Set(numbers)].filter(one => one >= 0 && one < 128).sort((a, b) => a - b);
    const parts = [];
    for (const one of own) {
        if (parts.at(-1)?.[1] === one - 1)
            parts.at(-1)[1] = one;
        else
            parts.push([one, one]);
    }
    return own.length === 0 ? 'X'
        : before + parts.map(([first, last]) => (first === last ? first : `${first}-${last}`)).join(', ');
}

function chartRows(data) {
    const numbers = (end, type, use = () => true) => data.controls
        .filter(one => one[end]?.type === type && use(one)).map(one => one[end].number);
    const lit = one => one.to_board?.type === 'note' || one.index === 81;
    const drawn = labelsOf(data).filter(one => one.drawn).map(one => one.note);
    const heard = data.channel === null ? 'X' : String(data.channel + 1);
    const used = list => (data.channel === null ? 'X' : list);
    return [
        ['Basic Channel', 'Default', String((data.channel ?? 0) + 1), heard, 'setting midi_channel + 1, or option -m'],
        ['', 'Changed', '1-16', '1-16', 'at start'],
        ['Mode', 'Default', 'X', 'X', ''],
        ['', 'Messages', 'X', 'X', ''],
        ['', 'Altered', 'X', 'X', ''],
        ['Note Number', '', ranges(numbers('to_host', 'note')),
            used(ranges([...numbers('from_host', 'note', lit), ...drawn])),
            '0-127 by the mapping: buttons; LEDs, labels'],
        ['', 'True Voice', 'X', 'X', ''],
        ['Velocity', 'Note ON', 'O 9nH v=127', 'O v=0-127', 'received: value of the LED'],
        ['', 'Note OFF', 'O 8nH v=0-127', 'O 8nH v=0-127', 'sent: as received from the board'],
        ['Aftertouch', 'Keys', 'X', 'X', ''],
        ['', 'Channel', 'X', 'X', ''],
        ['Pitch Bend', '', 'X', 'X', ''],
        ['Control Change', '', ranges(numbers('to_host', 'controller'), 'O '),
            used(ranges(numbers('from_host', 'controller'), 'O ')),
            '0-127 by the mapping: pots, platters, encoder; meters'],
        ['Program Change', '', 'X', 'X', ''],
        ['', 'True #', 'X', 'X', ''],
        ['System Exclusive', '', 'O', 'O',
            'sent: what the board sends, Identity Reply; received: Identity Request'],
        ['System Common', 'Song Position', 'X', 'X', ''],
        ['', 'Song Select', 'X', 'X', ''],
        ['', 'Tune Request', 'X', 'X', ''],
        ['System Real Time', 'Clock', 'X', 'X', 'a real-time byte inside a message breaks it'],
        ['', 'Commands', 'X', 'X', ''],
        ['Aux Messages', 'Local ON/OFF', 'X', 'X', ''],
        ['', 'All Notes OFF', 'X', 'X', ''],
        ['', 'Active Sensing', 'X', 'X', ''],
        ['', 'System Reset', 'X', 'X', ''],
        ['Notes', '', '', '', 'No running status. A note-on with velocity 0 is not a note-off. Without ' +
            'a valid channel, everything is sent on channel 1 and no channel message is recognized.'],
    ];
}

export function drawChart(data) {
    let last = '';
    const rows = chartRows(data).map(([name, detail, sent, heard, remarks]) => {
        last = name || last;
        const usage = (label, text) =>
            html('td', {'data-l': label, class: text === 'X' ? 'no' : null}, text);
        return html('tr', {class: name ? 'first' : null},
            html('th', {scope: 'row'}, html('span', {class: name ? null : 'hidden'}, last)),
            html('td', {}, detail), usage('Transmitted', sent), usage('Recognized', heard),
            html('td', {}, remarks));
    });
    return html('table', {class: 'midi'}, head('Function', 'Detail', 'Transmitted', 'Recognized', 'Remarks'),
        html('tbody', {}, rows));
}

// --- Findings ---

// `open` is called with a finding whose place is to be shown.
export function drawFindings(data, report, open) {
    if (report.findings.length === 0)
        return [html('p', {}, 'None.')];
    return [html('ol', {}, report.findings.map((one, i) => {
        const control = data?.controls[one.control ?? -1];
        const place = one.line > 0 ? `${one.file}:${one.line}` : one.file;
        return html('li', {id: `f${i + 1}`}, html('b', {class: one.severity}, one.severity), ' ',
            html('button', {type: 'button', class: 'place', onclick: () => open(one)}, place), ' ',
            one.text, ' ', html('small', {}, `[${one.rule}]`),
            control ? [' ', html('a', {href: `#c${control.index}`}, titleOf(control))] : null);
    }))];
}

// --- Differences ---

export function drawDifference(name, parts) {
    let next = 0;
    return html('div', {class: 'difference'}, html('h3', {}, name), html('pre', {}, parts.map(
        ([mark, line, number]) => {
            const gap = mark !== '+' && next > 0 && number > next ? '\u22ef\n' : '';
            next = mark === '+' ? next : number + 1;
            const look = {'+': 'ins', '-': 'del', ' ': 'span'}[mark];
            return [gap, html(look, {}, `${mark} ${decode(line).replace(/\r?\n?$/, '')}\n`)];
        })));
}
