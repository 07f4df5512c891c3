// Changing a control, the settings and the text of a file.
import {freeNumbers, holders, isNote} from './controls.mjs';
import {
    BASE, COLORS, LABELS, PLACES, SETTINGS, decode, encode, fieldsOf, isText, linesOf, presetFile,
    recordsOf, settingOf, withAdded, withField, withLine, withSetting, withTyped,
} from './files.mjs';
import {turns} from './front.mjs';
import {html} from './dom.mjs';

const [NUMBER, ADD_DATA, RATE, NAME] = [2, 5, 6, 7];  // fields of the base mapping
const [LABEL_TEXT, LABEL_NOTE, ON_COLOR, OFF_COLOR] = [1, 2, 3, 4];
const ZOOM_SCALE = 16, MOST_ZOOM = 15, MOST_RATE = 255, MOST_NUMBER = 127;
const OFFERED = 4;  // free numbers

const isWhole = text => /^\d{1,5}$/.test(text);
const asWord = text => encode(text.trim().replace(/\s+/g, '_'));

// --- Forms ---

// A field: {id, label, kind: 'number' | 'text' | 'check' | 'select', value, set(text)}, and `most`,
// `options` [[value, text]...] or `note()`, what to say below it.
function drawField(field, serial) {
    const id = `field-${field.id}`;
    const input = field.kind === 'select'
        ? html('select', {id}, field.options.map(([value, text]) => html('option', {value}, text)))
        : html('input', {id, type: {number: 'number', check: 'checkbox'}[field.kind] ?? 'text',
            min: field.kind === 'number' ? 0 : null, max: field.most, maxlength: field.longest,
            autocomplete: 'off', spellcheck: 'false'});
    const fits = text => field.kind !== 'number' || (isWhole(text) && Number(text) <= field.most);
    input.addEventListener(field.kind === 'text' || field.kind === 'number' ? 'input' : 'change', () => {
        const text = field.kind === 'check' ? (input.checked ? '1' : '0') : input.value;
        const isFit = fits(text) && (field.kind !== 'text' || field.mayBeEmpty || text.trim() !== '');
        input.setAttribute('aria-invalid', !isFit);
        if (isFit)
            field.current().set(text, serial());
    });
    const note = html('div', {class: 'soft', id: `${id}-note`});
    input.setAttribute('aria-describedby', note.id);
    return {field, input, note, element: html('div', {class: `field ${field.kind}`},
        html('label', {for: id}, field.label), input, note)};
}

// Fields that stay while only their values change, so that typing goes on undisturbed.
export class Form {
    #drawn = [];
    #shape = '';
    #serial = 0;

    constructor(into) {
        this.into = into;
        into.addEventListener('focusin', () => ++this.#serial);
    }

    // A text field that is being typed into keeps what it has, unless `isUndone`.
    show(name, fields, isUndone = false) {
        const shape = JSON.stringify([name, fields.map(({id, label, options}) => [id, label, options])]);
        if (shape !== this.#shape) {
            const held = document.activeElement?.id;
            this.#shape = shape;
            this.#drawn = fields.map(field => drawField(field, () => `${name} ${field.id} ${this.#serial}`));
            this.into.replaceChildren(...this.#drawn.map(one => one.element));
            if (held?.startsWith('field-'))
                this.into.querySelector(`#${held}`)?.focus();
        }
        this.#drawn.forEach(({field: drawn, input, note}, i) => {
            const field = fields[i], isTyped = input === document.activeElement && !isUndone;
            drawn.current = () => field;
            if (field.kind === 'check')
                input.checked = field.value;
            else if (!isTyped || (field.kind === 'number' && Number(input.value) !== Number(field.value)))
                input.value = field.value;
            note.replaceChildren(...(field.note?.() ?? []).flat(Infinity));
        });
    }
}

// --- A control ---

// "taken by CUE_A; free: 50 51", the numbers as buttons.
function numberNote(app, control, value, set) {
    const type = isNote(control) ? 'note' : 'controller', number = Number(value);
    const by = holders(app.data, control, type, number);
    const free = freeNumbers(app.data, control, type, number, OFFERED);
    return [by.length > 0 ? html('b', {class: 'warning'}, `taken by ${by.join(', ')}`) : 'not taken',
        '; free: ', free.flatMap(one => [html('button', {type: 'button', class: 'small',
            'aria-label': `take ${one}`, onclick: () => set(String(one), null)}, String(one)), ' '])];
}

// The label of a control, also while its number is one that somebody else's light has.
let known = {};
function labelOf(app, control) {
    if (control.label)
        known = {index: control.index, label: control.label};
    const label = known.index === control.index ? known.label : null;
    const [place, , note] = fieldsOf(linesOf(app.files.text(LABELS))[(label?.line ?? 0) - 1] ?? '');
    return label && place === encode(label.place) && Number(note) === control.number
        ? {...label, note: Number(note)} : null;
}

function numberFields(app, control, fields) {
    const {files} = app, label = labelOf(app, control);
    const what = isNote(control) ? 'Note' : 'Controller';
    // A label with the control's note goes along, if that is wanted.
    const withLabel = (changes, old, text) => {
        if (label?.line && app.labelFollows && Number(old) === label.note)
            changes[LABELS] = withLine(files.text(LABELS), label.line,
                line => withField(line, LABEL_NOTE, text));
        return changes;
    };
    const place = (id, title, file, line, at) => {
        const value = fieldsOf(linesOf(files.text(file))[line - 1] ?? '')[at] ?? '';
        const set = (text, key) => app.edit(withLabel({[file]: withLine(files.text(file), line,
            found => withField(found, at, text))}, control.number, text), key);
        fields.push({id, label: title, kind: 'number', most: MOST_NUMBER, value, set,
            note: () => numberNote(app, control, value, set)});
    };
    place('number', control.preset_line ? `${what} in the mapping` : what, BASE, control.line, NUMBER);
    if (control.preset_line)
        place('preset', `${what} in preset ${app.data.preset}`, presetFile(app.data.preset), control.preset_line, 1);
    if (label)
        fields.push({id: 'follows', label: `The label \u201c${label.text.trim()}\u201d goes along`,
            kind: 'check', value: app.labelFollows, set: text => (app.labelFollows = text === '1')});
}

function labelFields(app, label, fields) {
    if (!label?.line)
        return;
    const own = fieldsOf(linesOf(app.files.text(LABELS))[label.line - 1] ?? '');
    const colors = recordsOf(app.files.text(COLORS)).map(record => decode(record.fields[2] ?? ''));
    const set = at => (text, key) => app.edit({[LABELS]: withLine(app.files.text(LABELS), label.line,
        line => withField(line, at, asWord(text)))}, key);
    const color = (id, title, at) => {
        const value = decode(own[at] ?? ''), known = colors.includes(value);
        const options = [...known ? [] : [value], ...new Set(colors)].map(name => [name, name]);
        fields.push({id, label: title, kind: 'select', value, options, set: set(at)});
    };
    fields.push({id: 'label', label: `Label at ${label.place}`, kind: 'text', longest: 31,
        value: decode(own[LABEL_TEXT] ?? '').replaceAll('_', ' '), set: set(LABEL_TEXT)});
    color('on', 'Colour when on', ON_COLOR);
    color('off', 'Colour when off', OFF_COLOR);
}

export function fieldsOfControl(app, control) {
    const fields = [], {files} = app;
    if (control.line === null)
        return fields;
    const own = fieldsOf(linesOf(files.text(BASE))[control.line - 1] ?? '');
    const set = (at, change) => (text, key) => app.edit({[BASE]: withLine(files.text(BASE),
        control.line, line => withField(line, at, change(text)))}, key);
    const add = (id, label, kind, at, change, more) => fields.push(
        {id, label, kind, value: own[at] ?? '', set: set(at, change), ...more});
    if (control.kind !== 'spare')
        numberFields(app, control, fields);
    add('name', 'Name', 'text', NAME, asWord, {value: decode(own[NAME] ?? ''), longest: 63});
    if (turns(control))
        add('zoom', 'Zoom', 'number', ADD_DATA, text => String(text * ZOOM_SCALE), {most: MOST_ZOOM,
            value: Math.trunc((own[ADD_DATA] ?? 0) / ZOOM_SCALE),
            note: () => [control.step ? `${control.step} units a step` : 'sends positions']});
    if (['pot', 'meter'].includes(control.kind) || turns(control))
        add('rate', 'Fewest passes between two messages', 'number', RATE, String, {most: MOST_RATE});
    if (control.to_board?.type === 'note')
        add('dim', 'A note-off turns the light off', 'check', ADD_DATA, String,
            {value: Number(own[ADD_DATA]) !== 0});
    labelFields(app, labelOf(app, control), fields);
    return fields;
}

// --- What can be added ---

const TYPES = {button: 3, LED: 2, meter: 4};

// A line for a control that has none, with a free number.
function addLine(app, control) {
    const type = isNote(control) ? 'note' : 'controller';
    const board = (control.from_board ?? control.to_board)?.number ?? 0;
    const number = freeNumbers(app.data, control, type, board, 1)[0] ?? 0;
    const isLit = ['button', 'LED'].includes(control.kind);
    app.edit({[BASE]: withAdded(app.files.text(BASE), [control.index, board, number,
        TYPES[control.kind] ?? 0, turns(control) ? 1 : 0, isLit ? 1 : 0, 2,
        `CONTROL_${control.index}`].join(' '))});
}

function addToPreset(app, control) {
    const file = presetFile(app.data.preset), type = isNote(control) ? 'note' : 'controller';
    const free = freeNumbers(app.data, control, type, control.number, 1)[0];
    app.edit({[file]: withAdded(app.files.text(file), `${encode(control.name)} ${free ?? control.number}`)});
}

// The first place that no label uses, or undefined.
function freePlace(app) {
    const used = recordsOf(app.files.text(LABELS)).map(record => record.fields[0]);
    return recordsOf(app.files.text(PLACES)).map(record => record.fields[2])
        .find(key => key && !used.includes(key));
}

function addLabel(app, control) {
    const names = recordsOf(app.files.text(COLORS)).map(record => record.fields[2]);
    const text = encode(control.name.replace(/_[AB]$/, '').slice(0, 9)) || 'label';
    app.edit({[LABELS]: withAdded(app.files.text(LABELS), [freePlace(app), text,
        control.from_host.number, names[1] ?? names[0], names[0]].join(' '))});
}

// Buttons for what the control could have: [[text, function]...].
export function additionsTo(app, control) {
    const all = [];
    if (control.line === null)
        all.push(['Give it a line', () => addLine(app, control)]);
    if (app.data.preset !== null && control.number !== null && control.name && !control.preset_line)
        all.push([`Move it by preset ${app.data.preset}`, () => addToPreset(app, control)]);
    if (!control.label && control.from_host?.type === 'note' && freePlace(app))
        all.push(['Give it a label', () => addLabel(app, control)]);
    return all;
}

// A colour of two of the sixteen, under the next free index.
export function addColor(app, name, fore, back) {
    const used = recordsOf(app.files.text(COLORS)).map(record => Number(record.fields[0]));
    const index = [...Array(257).keys()].find(one => !used.includes(one));
    const codes = [fore >= 8 ? 1 : 0, 30 + fore % 8, ...back > 0 ? [40 + back] : []];
    app.edit({[COLORS]: withAdded(app.files.text(COLORS),
        `${index} \\033[${codes.join(';')}m ${asWord(name)}`)});
}

// --- Settings ---

export function fieldsOfSettings(app) {
    const text = app.files.text(SETTINGS);
    const field = (key, label, more) => ({id: key, label, kind: 'text', longest: 15, mayBeEmpty: true,
        value: decode(settingOf(text, key)), set: (value, edit) => app.edit(
            {[SETTINGS]: withSetting(app.files.text(SETTINGS), key, encode(value))}, edit), ...more});
    const among = (value, options) =>
        (options.some(([one]) => one === value) ? options : [[value, `\u201c${value}\u201d`], ...options]);
    const channel = decode(settingOf(text, 'midi_channel')), preset = decode(settingOf(text, 'midi_preset'));
    const channels = Array.from({length: 16}, (_, i) => [String(i), String(i + 1)]);
    const presets = [...app.files.now.keys()].map(name => /cfg(\d+)\.txt$/.exec(name)?.[1])
        .filter((number, i, all) => number && app.files.now.has(presetFile(number)) && all.indexOf(number) === i);
    return [
        field('midi_channel', 'MIDI channel', {kind: 'select', options: among(channel, channels)}),
        field('midi_preset', 'Preset', {kind: 'select',
            options: among(preset, [['', 'none'], ...presets.sort().map(one => [one, one])])}),
        field('product_name', 'Name at the host'), field('manufacturer', 'Manufacturer'),
        field('vendor_id', 'USB vendor'), field('product_id', 'USB product')];
}

// A preset of its own file, selected.
export function addPreset(app) {
    let number = 0;
    while (app.files.now.has(presetFile(number)))
        ++number;
    app.edit({[presetFile(number)]: '# name and number, one control a line\n',
        [SETTINGS]: withSetting(app.files.text(SETTINGS), 'midi_preset', String(number))});
}

// --- The text of a file ---

export class TextPane {
    constructor(app, select, area, status) {
        Object.assign(this, {app, select, area, status, file: BASE, shown: ''});
        select.addEventListener('change', () => this.open(select.value));
        area.addEventListener('input', () => {
            const {files} = app, string = files.text(this.file);
            const typed = encode(area.value), before = encode(this.shown);
            const isUtf8 = encode(decode(string)) === string;
            this.shown = area.value;
            app.edit({[this.file]: isUtf8 ? withTyped(string, before, typed)
                : withTyped(string, toLatin1(before), toLatin1(typed))}, `text ${this.file}`);
        });
        for (const event of ['keyup', 'click', 'focus'])
            area.addEventListener(event, () => this.#tellLine());
    }

    open(file, line = 0) {
        this.file = file;
        this.refresh();
        if (line > 0)
            this.goTo(line);
    }

    goTo(line) {
        const lines = this.area.value.split('\n');
        const start = lines.slice(0, line - 1).reduce((sum, one) => sum + one.length + 1, 0);
        this.area.setSelectionRange(start, start + (lines[line - 1]?.length ?? 0));
        const height = parseFloat(getComputedStyle(this.area).lineHeight);
        this.area.scrollTop = Math.max(0, (line - 4) * height);
        this.#tellLine();
    }

    #tellLine() {
        const before = this.area.value.slice(0, this.area.selectionStart);
        this.status.textContent = `line ${before.split('\n').length}`;
    }

    refresh() {
        const names = [...this.app.files.now.keys()].filter(isText).sort();
        this.select.replaceChildren(...names.map(name => html('option', {value: name}, name)));
        if (!names.includes(this.file))
            this.file = names[0] ?? BASE;
        this.select.value = this.file;
        const text = decode(this.app.files.text(this.file)).replace(/\r\n?/g, '\n');
        if (this.area.value !== text) {
            this.area.value = text;
            this.area.readOnly = this.area.value !== text;
        }
        this.shown = this.area.value;
    }
}

// A text that stands for Latin-1 bytes, back from UTF-8; what is typed beyond Latin-1 stays UTF-8.
const toLatin1 = string => [...decode(string)].map(c => (c <= '\xff' ? c : encode(c))).join('');
