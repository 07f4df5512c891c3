// Configurations that the page must bear, made of the delivered one.
import {cpSync, mkdirSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {BASE, COLORS, LABELS, PLACES, SETTINGS, SPLASH, WIDE_SPLASH, presetFile} from '../../page/files.mjs';

// --- Twenty hostile folders ---

const utf16 = text => Buffer.concat([Buffer.from([0xFF, 0xFE]), Buffer.from(text, 'utf16le')]);
const crlf = text => text.replaceAll('\n', '\r\n');
const twice = text => text + text;
const marked = text => `\ufeff${text}`;
const MARKUP = '<img/src=x/onerror=document.body.remove()><script>throw(1)</script>';

// What is written over a file of the delivered ones; a function gets its text, null removes it.
const FOLDERS = {
    empty_mapping: {[BASE]: ''},
    no_mapping: {[BASE]: null},
    nothing_else: {[SETTINGS]: null, [COLORS]: null, [LABELS]: null, [PLACES]: null},
    zeros: {[BASE]: Buffer.alloc(100000)},
    ones: {[LABELS]: Buffer.alloc(100000, 0xFF)},
    utf16: {[BASE]: utf16},
    byte_order_mark: {[BASE]: marked, [LABELS]: marked},
    cr_only: {[BASE]: text => text.replaceAll('\n', '\r')},
    crlf: {[BASE]: crlf, [SETTINGS]: crlf},
    one_line: {[BASE]: '21 '.repeat(340000)},
    a_million_lines: {[BASE]: '\n'.repeat(1 << 20)},
    too_large: {[BASE]: 'x'.repeat((1 << 20) + 1)},
    markup_in_names: {[BASE]: text => text.replace('PLAY_A', MARKUP), [LABELS]: text => text.replace('sync', MARKUP)},
    markup_in_settings: {[SETTINGS]: text => text.replace('Orvik Two Deck', '</h1><b>"&amp;')},
    escapes: {[COLORS]: text => text.replace('[1;32m', '[999;999H\\033[2J\\033[31m'),
        [LABELS]: text => text.replace('loop_in', '\x1b[2J\x07')},
    latin1: {[BASE]: text => Buffer.from(text.replace('CUE_A', 'K\xfchl'), 'latin1')},
    huge_numbers: {[BASE]: text => text.replace(/^(\d+) (\d+) (\d+)/gm, '$1 $2 99999999999999999999')},
    negative: {[BASE]: text => text.replace(/^(\d+) (\d+) (\d+)/gm, '$1 -1 -$3'),
        [PLACES]: text => text.replace(/^\d+ \d+/gm, '-5 -7')},
    every_line_twice: {[BASE]: twice, [LABELS]: twice, [PLACES]: twice},
    images: {[SPLASH]: 'P6 4000000000 2 255\n', [WIDE_SPLASH]: 'P6\n480 272\n255\n'},
};

export function hostileFolders(resources, directory) {
    mkdirSync(directory, {recursive: true});
    return Object.entries(FOLDERS).map(([name, files]) => {
        const folder = join(directory, name);
        cpSync(resources, folder, {recursive: true});
        for (const [file, content] of Object.entries(files)) {
            const path = join(folder, file), text = readFileSync(path, 'utf8');
            rmSync(path);
            if (content !== null)
                writeFileSync(path, typeof content === 'function' ? content(text) : content);
        }
        return folder;
    });
}

// --- Random ones: things that owners, editors and disks do to files ---

// Numbers from 0 to below `most`, the same for a seed on every machine.
export function numbersFrom(seed) {
    let state = seed >>> 0;
    return most => {
        state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
        return Math.floor(state / 2 ** 32 * most);
    };
}

const WORDS = ['-1', '0', '1', '60', '62', '127', '128', '200', '99999999999', 'x', 'PLAY_A', 'LOOP', '.*', 'NA', 'RED',
    'GREEN', 'DECK_A_1', '\\033[1;31m', '[1;31m', '\xfc', '\xc3\xbc', '#', '"', '<b>', '=1'];
const LINES = ['', '#21 1 60 3 0 1 2 PLAY_A', ' 21 1 60 3 0 1 2 PLAY_A', 'midi_channel=4', 'midi_preset=0',
    'midi_preset=1', 'preset=2', 'PLAY_A 50', '200 1 1 1 1 1 1 FAR', 'DECK_A_2 again 63 RED GREEN',
    '16 \\033[7m NEW', '\xff', '\0', 'x'.repeat(300)];
const FILES = [BASE, presetFile(0), SETTINGS, COLORS, PLACES, LABELS];

function changed(text, below) {
    const lines = text.split('\n'), word = WORDS[below(WORDS.length)];
    const data = [...lines.keys()].filter(i => /^[^# \n]/.test(lines[i])), on = data[below(data.length)] ?? 0;
    const ways = [
        line => `${line}\n${line}`, line => `${LINES[below(LINES.length)]}\n${line}`,
        line => line.split(' ').map((field, i, all) => (i === on % all.length ? word : field)).join(' '),
        line => line.replace(/\d+/g, number => (below(3) === 0 ? String(below(130)) : number)),
        line => line.replace(/=.*/, `=${word}`), line => `${line} ${word}`, line => line.replace(/ +\S*$/, ''),
        line => `#${line}`, line => line.replaceAll(' ', '\t'), line => `${line}\r`, line => `\xef\xbb\xbf${line}`,
    ];
    lines[on] = ways[below(ways.length)](lines[on]);
    return lines.join('\n');
}

// A map of names and bytes, made of such a map.
export function randomConfiguration(delivered, seed) {
    const below = numbersFrom(seed), files = new Map(delivered);
    const change = (name, edit) => files.has(name) &&
        files.set(name, new Uint8Array(Buffer.from(edit(Buffer.from(files.get(name)).toString('latin1')), 'latin1')));
    for (let i = 0; i <= below(8); ++i) {
        const name = FILES[below(FILES.length)];
        if (below(40) === 0)
            files.delete(name);
        else
            change(name, text => (below(40) === 0 ? '' : changed(text, below)));
    }
    if (below(3) === 0)
        change(SETTINGS, text => text.replace('midi_preset=', 'midi_preset=0'));
    return files;
}
