// The files of a configuration: bytes, lines, edits, undo, differences. Text is handled as strings of
// one character a byte, so that what is not edited stays as it is, whatever its encoding.

export const BASE = 'orvik.midictl.cfg', SETTINGS = 'orvik.sys.cfg', COLORS = 'orvik.color.cfg';
export const LABELS = 'orvik.miditxt.cfg0.txt', PLACES = 'orvik.softlabelpos.cfg';
export const SPLASH = 'orv_midi_screen.ppm', WIDE_SPLASH = 'orv_midi_screen_wide.ppm';
export const MOST_BYTES = 1 << 20;
const KNOWN = [BASE, SETTINGS, COLORS, PLACES, SPLASH, WIDE_SPLASH, 'check_field_num.sh'];
const NUMBERED = /^orvik\.(midictl\.cfg\d{1,3}|miditxt\.cfg0)\.txt(\.ok)?$/;

export const presetFile = number => `${BASE}${number}.txt`;
export const isPart = name => KNOWN.includes(name) || NUMBERED.test(name);
export const isText = name => isPart(name) && !/\.(ppm|ok|sh)$/.test(name);

// --- Bytes and text ---

export const toBytes = string => Uint8Array.from(string, c => c.charCodeAt(0));

export function toString(bytes) {
    let string = '';
    for (let i = 0; i < bytes.length; i += 8192)
        string += String.fromCharCode(...bytes.subarray(i, i + 8192));
    return string;
}

const sameBytes = (a, b) => a === b || (a?.length === b?.length && a.every((byte, i) => byte === b[i]));

// What is typed, as a string of bytes.
export const encode = text => toString(new TextEncoder().encode(text));

// For reading: UTF-8, and what is not as Latin-1.
export function decode(string) {
    try {
        return new TextDecoder('utf-8', {fatal: true, ignoreBOM: true}).decode(toBytes(string));
    } catch {
        return string;
    }
}

// --- Lines and fields ---

// With their ends; a last one without an end is a line, too.
const linesOf = string => string.match(/[^\n]*\n|[^\n]+$/g) ?? [];
const lineEnd = string => (/\r?\n/.exec(string) ?? ['\n'])[0];
const WORDS = /[^ \t\n\v\f\r]+/g;

// A field, from 0, of a line, from 1; empty where there is none.
export const fieldOf = (string, line, at) => linesOf(string)[line - 1]?.match(WORDS)?.[at] ?? '';

// The string with that field replaced; as it was where there is none.
export function withField(string, line, at, text) {
    let count = 0;
    const replaced = one => one.replace(WORDS, word => (count++ === at ? text : word));
    return linesOf(string).map((one, i) => (i === line - 1 ? replaced(one) : one)).join('');
}

export function withAdded(string, line) {
    const end = lineEnd(string);
    return string + (string === '' || string.endsWith('\n') ? '' : end) + line + end;
}

// The value of a setting in the line that begins with its key, and that line changed.
const setting = key => new RegExp(`^${key}=([^\\r\\n]*)`, 'm');
export const settingOf = (string, key) => setting(key).exec(string)?.[1] ?? '';
export const withSetting = (string, key, value) => (setting(key).test(string)
    ? string.replace(setting(key), () => `${key}=${value}`) : withAdded(string, `${key}=${value}`));

// Lines that are data, as fields, with their numbers.
export const recordsOf = string => linesOf(string)
    .map((line, i) => ({line: i + 1, fields: line.match(WORDS), isComment: /^[# \r\n]/.test(line)}))
    .filter(record => !record.isComment && record.fields);

// How many at the beginning, and then at the end, are the same in both.
function alike(a, b) {
    const most = Math.min(a.length, b.length);
    let head = 0, tail = 0;
    while (head < most && a[head] === b[head])
        ++head;
    while (tail < most - head && a[a.length - 1 - tail] === b[b.length - 1 - tail])
        ++tail;
    return [head, tail];
}

// A text area shows LF for every line end. What of its text has changed is put into the string
// behind it, with the line ends and the encoding of the file; everything around that stays.
export function withTyped(string, text) {
    const isUtf8 = encode(decode(string)) === string;
    const typed = isUtf8 ? encode(text) : [...text].map(c => (c <= '\xff' ? c : encode(c))).join('');
    const before = string.match(/\r\n|[^]/g) ?? [];
    const [head, tail] = alike(before.map(c => (c[0] === '\r' ? '\n' : c)), typed);
    return before.slice(0, head).join('') +
        typed.slice(head, typed.length - tail).replaceAll('\n', lineEnd(string)) +
        before.slice(before.length - tail).join('');
}

// --- Differences ---

const MOST_COMPARED = 4e6;  // pairs of lines; beyond that a changed part is replaced as a whole

// [[' ' | '-' | '+', line, number in the old or, for '+', the new file]...], changed lines and
// `around` lines about them.
export function difference(before, after, around = 2) {
    const a = linesOf(before), b = linesOf(after), [head, tail] = alike(a, b);
    const x = a.slice(head, a.length - tail), y = b.slice(head, b.length - tail);
    const isCompared = x.length * y.length <= MOST_COMPARED;
    // How many lines both have in common from a pair on.
    const common = Array.from({length: x.length + 1}, () => new Uint16Array(isCompared ? y.length + 1 : 0));
    for (let i = x.length - 1; isCompared && i >= 0; --i) {
        for (let k = y.length - 1; k >= 0; --k)
            common[i][k] = x[i] === y[k] ? common[i + 1][k + 1] + 1 : Math.max(common[i + 1][k], common[i][k + 1]);
    }
    const same = (lines, first) => lines.map((line, i) => [' ', line, first + i + 1]), changed = [];
    for (let i = 0, k = 0; i < x.length || k < y.length;) {
        const isOld = k === y.length || (i < x.length && !(common[i + 1][k] < common[i][k + 1]));
        if (i < x.length && x[i] === y[k]) {
            changed.push([' ', x[i++], head + i]);
            ++k;
        } else {
            changed.push(isOld ? ['-', x[i++], head + i] : ['+', y[k++], head + k]);
        }
    }
    const all = same(a.slice(0, head), 0).concat(changed, same(a.slice(a.length - tail), a.length - tail));
    const near = new Set(all.flatMap(
        ([mark], i) => (mark === ' ' ? [] : Array.from({length: 2 * around + 1}, (_, k) => i - around + k))));
    return all.filter((_, i) => near.has(i));
}

// --- All files ---

export class Files {
    #undo = [];

    constructor(loaded) {  // Map of names and bytes
        this.saved = new Map(loaded);
        this.now = new Map(loaded);
    }

    text(name, of = this.now) {
        return of.has(name) ? toString(of.get(name)) : '';
    }

    // Replaces texts of files; null removes one. Edits with the same key, one after the other, are undone as one.
    edit(changes, key = null) {
        const before = new Map(this.now);
        for (const [name, string] of Object.entries(changes)) {
            if (string === null)
                this.now.delete(name);
            else
                this.now.set(name, toBytes(string));
        }
        const isEdit = this.changedFrom(before).length > 0, isNew = key === null || this.#undo.at(-1)?.key !== key;
        if (isEdit && isNew)
            this.#undo.push({key, before});
        return isEdit;
    }

    get canUndo() {
        return this.#undo.length > 0;
    }

    undo() {
        this.now = this.#undo.pop().before;
    }

    changedFrom(before) {
        return [...new Set([...before.keys(), ...this.now.keys()])].filter(
            name => !sameBytes(before.get(name), this.now.get(name)));
    }

    get changed() {
        return this.changedFrom(this.saved);
    }

    setSaved() {
        this.saved = new Map(this.now);
    }
}

// --- Loading and saving ---

// Files of a choice or a drop. Returns {files, told}: what is left out is said by name.
export async function readAll(list) {
    const files = new Map(), told = [], parts = [...list].filter(file => isPart(file.name));
    const strangers = list.length - parts.length;
    for (const file of parts) {
        if (file.size > MOST_BYTES)
            told.push(`${file.name} is refused: ${file.size} bytes, more than ${MOST_BYTES}`);
        else
            await file.arrayBuffer().then(buffer => files.set(file.name, new Uint8Array(buffer)),
                error => told.push(`${file.name} cannot be read: ${error.message}`));
    }
    if (strangers > 0)
        told.push(`${strangers} ${strangers === 1 ? 'file is' : 'files are'} not part of a configuration and left out`);
    return {files, told};
}

// What a drop holds: {list, folder, name}; the folder is its handle, where the browser has such.
// Chromium reads a dropped folder by its handle only, when the page itself is a file; others have no
// handles.
export async function dropped(transfer) {
    const items = [...transfer.items].filter(item => item.kind === 'file');
    const entries = items.map(item => item.webkitGetAsEntry?.());
    const list = items.map(item => item.getAsFile()), at = entries.findIndex(entry => entry?.isDirectory);
    const folder = await items[at]?.getAsFileSystemHandle?.() ?? null;
    if (at < 0)
        return {list: list.filter(Boolean), folder, name: ''};
    return {list: await (folder ? filesOfHandle(folder) : filesOfEntry(entries[at])), folder, name: entries[at].name};
}

export async function filesOfHandle(folder) {
    const files = [];
    for await (const one of folder.values()) {
        if (one.kind === 'file')
            files.push(await one.getFile());
    }
    return files;
}

async function filesOfEntry(directory) {
    const reader = directory.createReader(), files = [];
    for (;;) {
        const some = await new Promise((done, fail) => reader.readEntries(done, fail));
        if (some.length === 0)
            return files;
        for (const entry of some.filter(one => one.isFile))
            files.push(await new Promise((done, fail) => entry.file(done, fail)));
    }
}

export async function saveInto(folder, files) {
    for (const name of files.changed) {
        if (!files.now.has(name)) {
            await folder.removeEntry(name);
            continue;
        }
        const out = await (await folder.getFileHandle(name, {create: true})).createWritable();
        await out.write(files.now.get(name));
        await out.close();
    }
    files.setSaved();
}

export function download(files) {
    for (const name of files.changed.filter(one => files.now.has(one))) {
        const link = document.createElement('a');
        link.href = URL.createObjectURL(new Blob([files.now.get(name)], {type: 'application/octet-stream'}));
        link.download = name;
        link.click();
        setTimeout(() => URL.revokeObjectURL(link.href), 60000);
    }
    files.setSaved();
}
