// Changing a control, the settings and the text of a file.
import {freeNumbers, holders, isNote, slides, turns} from './controls.mjs';
import {
    BASE, COLORS, LABELS, PLACES, SETTINGS, decode, encode, fieldOf, isText, presetFile, recordsOf, settingOf,
    withAdded, withField, withSetting, withTyped,
} from './files.mjs';
import {byId, html} from './dom.mjs';

const [NUMBER, ADD_DATA, RATE, NAME] = [2, 5, 6, 7];  // fields of the base mapping
const [LABEL_TEXT, LABEL_NOTE, ON_COLOR, OFF_COLOR] = [1, 2, 3, 4];
const ZOOM_SCALE = 16, MOST_ZOOM = 15, MOST_RATE = 255, MOST_NUMBER = 127;
const OFFERED = 4;  // free numbers

const number = most => ({type: 'number', attributes: {min: 0, max: most, required: true}});
const word = longest => ({attributes: {maxlength: longest, pattern: '.*\\S.*', required: true}});
const asWord = text => encode(text.trim().replace(/\s+/g, '_'));

// --- Forms ---

// Fields that stay while only their values change, so that typing goes on undisturbed. A field:
// {id, label, value, set(text, key)}, and `type` of its input or `options` [[value, text]...] to choose
// from, `attributes` of the input, and `note`, what to say below it.
export class Form {
    #fields = new Map();
    #shape = '';
    #serial = 0;

    constructor(into) {
        this.into = into;
        into.addEventListener('focusin', () => ++this.#serial);
        into.addEventListener('input', ({target: input}) => {
            const text = {checkbox: input.checked ? '1' : '0', number: String(input.valueAsNumber)}[input.type];
            if (input.checkValidity())
                this.#fields.get(input.id).set(text ?? input.value, `${this.#shape} ${input.id} ${this.#serial}`);
        });
    }

    // A field that is being typed into keeps what it has, unless `isUndone`.
    show(name, fields, isUndone = false) {
        const shape = JSON.stringify([name, fields.map(({id, options}) => [id, options])]);
        this.#fields = new Map(fields.map(field => [`field-${field.id}`, field]));
        const held = document.activeElement.id;
        if (shape !== this.#shape)
            this.into.replaceChildren(...fields.map(drawField));
        this.#shape = shape;
        for (const [id, field] of this.#fields) {
            const input = byId(id), isTyped = input === document.activeElement && !isUndone;
            input.labels[0].textContent = field.label;
            if (field.type === 'checkbox')
                input.checked = Number(field.value) !== 0;
            else if (!isTyped || (field.type === 'number' && input.valueAsNumber !== Number(field.value)))
                input.value = field.value;
            byId(`${id}-note`).replaceChildren(...field.note ?? []);
        }
        if (this.#fields.has(held))
            byId(held).focus();
    }
}

function drawField({id: bare, type = 'text', options, attributes}) {
    const id = `field-${bare}`, described = {id, 'aria-describedby': `${id}-note`};
    return html('div', {class: 'field'}, html('label', {for: id}), options
        ? html('select', described, options.map(([value, text]) => html('option', {value}, text)))
        : html('input', {...described, type, autocomplete: 'off', spellcheck: 'false', ...attributes}),
    html('div', {class: 'soft', id: `${id}-note`}));
}

// What of a field of the form is in a file: a field of a line there.
const inFile = (app, file, line, at, change = asWord) => ({
    value: decode(fieldOf(app.files.text(file), line, at)),
    set: (text, key) => app.edit({[file]: withField(app.files.text(file), line, at, change(text))}, key)});

// --- A control ---

// "taken by CUE_A; free: 50 51", the numbers as buttons.
function numberNote(app, control, value, set) {
    const by = holders(app.data, control, Number(value));
    const free = freeNumbers(app.data, control, Number(value), OFFERED);
    return [by.length > 0 ? html('b', {class: 'warning'}, `taken by ${by.join(', ')}`) : 'not taken',
        '; free: ', ...free.flatMap(one => [html('button', {type: 'button', class: 'small',
            'aria-label': `take ${one}`, onclick: () => set(String(one), null)}, String(one)), ' '])];
}

// The label of a control, also while its number is one that somebody else's light has.
let known = {};
function labelOf(app, control) {
    if (control.label)
        known = {index: control.index, label: control.label};
    const label = known.index === control.index ? known.label : {}, text = app.files.text(LABELS);
    const isThere = fieldOf(text, label.line, 0) === encode(label.place ?? '') &&
        Number(fieldOf(text, label.line, LABEL_NOTE)) === control.number;
    return label.line && isThere ? {...label, note: control.number} : null;
}

function fieldsOfNumbers(app, control, label) {
    const what = isNote(control) ? 'Note' : 'Controller';
    const field = (id, title, file, line, at) => {
        const {value} = inFile(app, file, line, at), {files} = app;
        const set = (text, key) => {
            const changes = {[file]: withField(files.text(file), line, at, text)};
            if (label && app.labelFollows)
                changes[LABELS] = withField(files.text(LABELS), label.line, LABEL_NOTE, text);
            app.edit(changes, key);
        };
        return {id, label: title, ...number(MOST_NUMBER), value, set, note: numberNote(app, control, value, set)};
    };
    const {preset} = app.data, line = control.preset_line;
    return [field('number', line ? `${what} in the mapping` : what, BASE, control.line, NUMBER),
        line && field('preset', `${what} in preset ${preset}`, presetFile(preset), line, 1),
        label && {id: 'follows', label: `The label \u201c${label.text.trim()}\u201d goes along`, type: 'checkbox',
            value: app.labelFollows, set: text => (app.labelFollows = text === '1')}];
}

function fieldsOfLabel(app, label) {
    const colors = recordsOf(app.files.text(COLORS)).map(record => decode(record.fields[2] ?? ''));
    const color = at => {
        const own = inFile(app, LABELS, label.line, at);
        return {...own, options: [...new Set([own.value, ...colors])].map(name => [name, name])};
    };
    const text = inFile(app, LABELS, label.line, LABEL_TEXT);
    return [
        {id: 'label', label: `Label at ${label.place}`, ...word(31), ...text, value: text.value.replaceAll('_', ' ')},
        {id: 'on', label: 'Colour when on', ...color(ON_COLOR)},
        {id: 'off', label: 'Colour when off', ...color(OFF_COLOR)}];
}

export function fieldsOfControl(app, control) {
    const label = labelOf(app, control), own = (at, change) => inFile(app, BASE, control.line, at, change);
    const zoom = own(ADD_DATA, text => String(text * ZOOM_SCALE));
    return control.line === null ? [] : [
        ...control.kind === 'spare' ? [] : fieldsOfNumbers(app, control, label),
        {id: 'name', label: 'Name', ...word(63), ...own(NAME)},
        turns(control) && {id: 'zoom', label: 'Zoom', ...number(MOST_ZOOM), ...zoom,
            value: Math.trunc(zoom.value / ZOOM_SCALE),
            note: [control.step ? `${control.step} units a step` : 'sends positions']},
        slides(control) && {id: 'rate', label: 'Fewest passes between two messages', ...number(MOST_RATE),
            ...own(RATE)},
        control.to_board?.type === 'note' &&
            {id: 'dim', label: 'A note-off turns the light off', type: 'checkbox', ...own(ADD_DATA)},
        ...label ? fieldsOfLabel(app, label) : []].filter(Boolean);
}

// --- What can be added ---

const TYPES = {button: 3, LED: 2, meter: 4};
const add = (app, file, fields) => app.edit({[file]: withAdded(app.files.text(file), fields.join(' '))});

// A line for a control that has none, with a free number.
function addLine(app, control) {
    const board = (control.from_board ?? control.to_board)?.number ?? 0;
    const isLit = ['button', 'LED'].includes(control.kind);
    add(app, BASE, [control.index, board, freeNumbers(app.data, control, board, 1)[0] ?? 0, TYPES[control.kind] ?? 0,
        turns(control) ? 1 : 0, isLit ? 1 : 0, 2, `CONTROL_${control.index}`]);
}

function addToPreset(app, control) {
    const free = freeNumbers(app.data, control, control.number, 1)[0];
    add(app, presetFile(app.data.preset), [encode(control.name), free ?? control.number]);
}

// The first place that no label uses, or undefined.
function freePlace(app) {
    const used = recordsOf(app.files.text(LABELS)).map(record => record.fields[0]);
    return recordsOf(app.files.text(PLACES)).map(record => record.fields[2]).find(key => key && !used.includes(key));
}

function addLabel(app, control) {
    const [first, second = first] = recordsOf(app.files.text(COLORS)).map(record => record.fields[2]);
    const text = encode(control.name.replace(/_[AB]$/, '').slice(0, 9)) || 'label';
    add(app, LABELS, [freePlace(app), text, control.from_host.number, second, first]);
}

// Buttons for what the control could have: [[text, function]...].
export function additionsTo(app, control) {
    const {line, number, name, preset_line: presetLine, label, from_host: from} = control, {preset} = app.data;
    return [[line === null, 'Give it a line', addLine],
        [preset !== null && number !== null && name && !presetLine, `Move it by preset ${preset}`, addToPreset],
        [!label && from?.type === 'note' && freePlace(app), 'Give it a label', addLabel]]
        .filter(([isPossible]) => isPossible).map(([, text, does]) => [text, () => does(app, control)]);
}

// A colour of two of the sixteen, under the next free index.
export function addColor(app, name, fore, back) {
    const used = recordsOf(app.files.text(COLORS)).map(record => Number(record.fields[0]));
    const index = [...Array(257).keys()].find(one => !used.includes(one));
    const codes = [fore >= 8 ? 1 : 0, 30 + fore % 8, ...back > 0 ? [40 + back] : []];
    add(app, COLORS, [index, `\\033[${codes.join(';')}m`, asWord(name)]);
}

// A preset of its own file, selected.
export function addPreset(app) {
    let number = 0;
    while (app.files.now.has(presetFile(number)))
        ++number;
    app.edit({[presetFile(number)]: '# name and number, one control a line\n',
        [SETTINGS]: withSetting(app.files.text(SETTINGS), 'midi_preset', String(number))});
}

// --- Settings ---

export function fieldsOfSettings(app) {
    const text = app.files.text(SETTINGS);
    const field = (id, label, choices) => {
        const value = decode(settingOf(text, id));
        const isOther = choices && !choices.some(([one]) => one === value);
        return {id, label, value, attributes: {maxlength: 15},
            options: isOther ? [[value, `\u201c${value}\u201d`], ...choices] : choices,
            set: (typed, key) => app.edit({[SETTINGS]: withSetting(app.files.text(SETTINGS), id, encode(typed))}, key)};
    };
    const channels = Array.from({length: 16}, (_, i) => [String(i), String(i + 1)]);
    const presets = [...Array(1000).keys()].map(String).filter(one => app.files.now.has(presetFile(one)));
    return [field('midi_channel', 'MIDI channel', channels),
        field('midi_preset', 'Preset', [['', 'none'], ...presets.map(one => [one, one])]),
        field('product_name', 'Name at the host'), field('manufacturer', 'Manufacturer'),
        field('vendor_id', 'USB vendor'), field('product_id', 'USB product')];
}

// --- The text of a file ---

export class TextPane {
    constructor(app, select, area, status) {
        Object.assign(this, {app, select, area, status, file: BASE});
        select.addEventListener('change', () => this.open(select.value));
        area.addEventListener('input', () =>
            app.edit({[this.file]: withTyped(app.files.text(this.file), area.value)}, `text ${this.file}`));
        for (const event of ['keyup', 'click', 'focus'])
            area.addEventListener(event, () => this.#tellLine());
    }

    open(file, line = 0) {
        this.file = file;
        this.refresh();
        if (line > 0)
            this.#goTo(line);
    }

    #goTo(line) {
        const lines = this.area.value.split('\n'), start = lines.slice(0, line - 1).join('\n').length + (line > 1);
        this.area.setSelectionRange(start, start + (lines[line - 1]?.length ?? 0));
        this.area.scrollTop = Math.max(0, (line - 4) * parseFloat(getComputedStyle(this.area).lineHeight));
        this.#tellLine();
    }

    #tellLine() {
        this.status.textContent = `line ${this.area.value.slice(0, this.area.selectionStart).split('\n').length}`;
    }

    refresh() {
        const names = [...this.app.files.now.keys()].filter(isText).sort();
        this.select.replaceChildren(...names.map(name => html('option', {value: name}, name)));
        if (!names.includes(this.file))
            this.file = names[0] ?? BASE;
        this.select.value = this.file;
        const text = decode(this.app.files.text(this.file)).replace(/\r\n?/g, '\n');
        if (this.area.value === text)
            return;
        this.area.value = text;
        this.area.readOnly = this.area.value !== text;  // where a browser shows it otherwise
    }
}
