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

export function toBytes(string) {
    return Uint8Array.from(string, c => c.charCodeAt(0));
}

export function toString(bytes) {
    let string = '';
    for (let i = 0; i < bytes.length; i += 8192)
        string += String.fromCharCode(...bytes.subarray(i, i + 8192));
    return string;
}

const sameBytes = (a, b) =>
    a === b || (a && b && a.length === b.length && a.every((byte, i) => byte === b[i]));

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
export const linesOf = string => string.match(/[^\n]*\n|[^\n]+$/g) ?? [];

const WORDS = /[^ \t\n\v\f\r]+/g;
export const fieldsOf = line => line.match(WORDS) ?? [];

// The line with its field `at`, from 0, replaced; the same line where it has no such field.
export function withField(line, at, text) {
    let count = 0;
    return line.replace(WORDS, word => (count++ === at ? text : word));
}

export function withLine(string, number, change) {
    const lines = linesOf(string);
    if (number >= 1 && number <= lines.length)
        lines[number - 1] = change(lines[number - 1]);
    return lines.join('');
}

export const lineEnd = string => (/\r?\n/.exec(string) ?? ['\n'])[0];

export function withAdded(string, line) {
    const end = lineEnd(string);
    return string + (string === '' || string.endsWith('\n') ? '' : end) + line + end;
}

// The value of a setting in the line that begins with its key, and that line changed.
const setting = key => new RegExp(`^${key}=([^\\r\\n]*)`, 'm');
export const settingOf = (string, key) => setting(key).exec(string)?.[1] ?? '';
export function withSetting(string, key, value) {
    return setting(key).test(string)
        ? string.replace(setting(key), () => `${key}=${value}`)
        : withAdded(string, `${key}=${value}`);
}

// Lines that are data, as fields, with their numbers.
export function recordsOf(string) {
    return linesOf(string)
        .map((line, i) => ({line: i + 1, fields: fieldsOf(line), comment: /^[# \r\n]/.test(line)}))
        .filter(record => !record.comment && record.fields.length > 0);
}

// A text area shows LF for every line end. What of its text has changed is put into the string
// behind it, with the line ends of the file; everything around that stays.
export function withTyped(string, shown, typed) {
    const from = [];  // where in the string each shown character begins
    for (let i = 0; i < string.length; ++i) {
        if (string[i] !== '\n' || string[i - 1] !== '\r')
            from.push(i);
    }
    from.push(string.length);
    let head = 0, tail = 0;
    while (head < Math.min(shown.length, typed.length) && shown[head] === typed[head])
        ++head;
    while (tail < Math.min(shown.length, typed.length) - head &&
           shown[shown.length - 1 - tail] === typed[typed.length - 1 - tail])
        ++tail;
    const middle = typed.slice(head, typed.length - tail).replaceAll('\n', lineEnd(string));
    return string.slice(0, from[head]) + middle + string.slice(from[shown.length - tail]);
}

// --- Differences ---

const MOST_COMPARED = 4e6;  // pairs of lines; beyond that a changed part is replaced as a whole

// [[' ' | '-' | '+', line, number in the old or, for '+', the new file]...], changed lines and
// `around` lines about them.
export function difference(before, after, around = 2) {
    const a = linesOf(before), b = linesOf(after);
    let head = 0, tail = 0;
    while (head < Math.min(a.length, b.length) && a[head] === b[head])
        ++head;
    while (tail < Math.min(a.length, b.length) - head &&
           a[a.length - 1 - tail] === b[b.length - 1 - tail])
        ++tail;
    const all = a.slice(0, head).map((line, i) => [' ', line, i + 1]);
    all.push(...middle(a.slice(head, a.length - tail), b.slice(head, b.length - tail), head));
    for (let i = a.length - tail; i < a.length; ++i)
        all.push([' ', a[i], i + 1]);
    const near = new Set();
    all.forEach(([mark], i) => {
        for (let k = i - around; mark !== ' ' && k <= i + around; ++k)
            near.add(k);
    });
    return all.filter((_, i) => near.has(i));
}

function middle(a, b, first) {
    const old = i => ['-', a[i], first + i + 1], fresh = k => ['+', b[k], first + k + 1];
    if (a.length * b.length > MOST_COMPARED)
        return [...a.map((_, i) => old(i)), ...b.map((_, k) => fresh(k))];
    // Lengths of the longest common parts of what is left of both.
    const width = b.length + 1, common = new Uint16Array((a.length + 1) * width);
    for (let i = a.length - 1; i >= 0; --i) {
        for (let k = b.length - 1; k >= 0; --k) {
            common[i * width + k] = a[i] === b[k]
                ? common[(i + 1) * width + k + 1] + 1
                : Math.max(common[(i + 1) * width + k], common[i * width + k + 1]);
        }
    }
    const all = [];
    let i = 0, k = 0;
    while (i < a.length || k < b.length) {
        if (i < a.length && k < b.length && a[i] === b[k]) {
            all.push([' ', a[i], first + i + 1]);
            ++i;
            ++k;
        } else if (k === b.length ||
                   (i < a.length && common[(i + 1) * width + k] >= common[i * width + k + 1])) {
            all.push(old(i++));
        } else {
            all.push(fresh(k++));
        }
    }
    return all;
}

// --- All files ---

export class Files {
    #undo = [];

    constructor(loaded) {  // Map of names and bytes
        this.saved = new Map(loaded);
        this.now = new Map(loaded);
    }

    text(name) {
        return this.now.has(name) ? toString(this.now.get(name)) : '';
    }

    #put(name, bytes) {
        if (bytes === undefined)
            this.now.delete(name);
        else
            this.now.set(name, bytes);
    }

    // Replaces texts of files; null removes one. Edits with the same key, one after the other, are undone as one.
    edit(changes, key = null) {
        const before = new Map();
        for (const [name, string] of Object.entries(changes)) {
            if (this.now.has(name) ? string === null || this.text(name) !== string : string !== null) {
                before.set(name, this.now.get(name));
                this.#put(name, string === null ? undefined : toBytes(string));
            }
        }
        const last = this.#undo.at(-1);
        if (before.size > 0 && key !== null && last?.key === key) {
            before.forEach((bytes, name) => last.before.has(name) || last.before.set(name, bytes));
        } else if (before.size > 0) {
            this.#undo.push({key, before});
        }
        return before.size > 0;
    }

    // An edit of a line by a function, in the file with this name.
    editLine(name, line, change, key) {
        return this.edit({[name]: withLine(this.text(name), line, change)}, key);
    }

    get canUndo() {
        return this.#undo.length > 0;
    }

    undo() {
        for (const [name, bytes] of this.#undo.pop()?.before ?? [])
            this.#put(name, bytes);
    }

    get changed() {
        return [...new Set([...this.saved.keys(), ...this.now.keys()])].filter(
            name => !sameBytes(this.saved.get(name), this.now.get(name)));
    }

    difference(name) {
        const before = this.saved.has(name) ? toString(this.saved.get(name)) : '';
        return difference(before, this.text(name));
    }

    setSaved() {
        this.saved = new Map(this.now);
    }
}

// --- Loading and saving ---

// Files of a choice or a drop. Returns {files, told}: what is left out is said by name.
export async function readAll(list) {
    const files = new Map(), told = [];
    let strangers = 0;
    for (const file of list) {
        if (!isPart(file.name))
            ++strangers;
        else if (file.size > MOST_BYTES)
            told.push(`${file.name} is refused: ${file.size} bytes, more than ${MOST_BYTES}`);
        else
            await file.arrayBuffer().then(
                buffer => files.set(file.name, new Uint8Array(buffer)),
                error => told.push(`${file.name} cannot be read: ${error.message}`));
    }
    if (strangers > 0)
        told.push(`${strangers} ${strangers === 1 ? 'file is' : 'files are'} not part of a ` +
            'configuration and left out');
    return {files, told};
}

// What a drop holds: {list, folder, name}; the folder is its handle, where the browser has such.
// Chromium reads a dropped folder by its handle only, when the page itself is a file; others have no
// handles.
export async function dropped(transfer) {
    const items = [...transfer.items].filter(item => item.kind === 'file');
    const entries = items.map(item => item.webkitGetAsEntry?.());
    const list = items.map(item => item.getAsFile());
    const handles = await Promise.all(items.map(item => item.getAsFileSystemHandle?.() ?? null));
    const at = entries.findIndex(entry => entry?.isDirectory);
    if (at < 0)
        return {list: list.filter(Boolean), folder: null, name: ''};
    const folder = handles[at];
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
        link.href = URL.createObjectURL(
            new Blob([files.now.get(name)], {type: 'application/octet-stream'}));
        link.download = name;
        link.click();
        setTimeout(() => URL.revokeObjectURL(link.href), 60000);
    }
    files.setSaved();
}
