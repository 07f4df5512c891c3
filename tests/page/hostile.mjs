// Twenty folders that a page must bear.
import {cpSync, mkdirSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';

const BASE = 'orvik.midictl.cfg', SETTINGS = 'orvik.sys.cfg', COLORS = 'orvik.color.cfg';
const LABELS = 'orvik.miditxt.cfg0.txt', PLACES = 'orvik.softlabelpos.cfg';
const utf16 = text => Buffer.concat([Buffer.from([0xFF, 0xFE]), Buffer.from(text, 'utf16le')]);
const MARKUP = '<img/src=x/onerror=document.body.remove()><script>throw(1)</script>';

// What is written over a file of the delivered ones; a function gets its text, null removes it.
const FOLDERS = {
    empty_mapping: {[BASE]: ''},
    no_mapping: {[BASE]: null},
    nothing_else: {[SETTINGS]: null, [COLORS]: null, [LABELS]: null, [PLACES]: null},
    zeros: {[BASE]: Buffer.alloc(100000)},
    ones: {[LABELS]: Buffer.alloc(100000, 0xFF)},
    utf16: {[BASE]: text => utf16(text)},
    byte_order_mark: {[BASE]: text => '\ufeff' + text, [LABELS]: text => '\ufeff' + text},
    cr_only: {[BASE]: text => text.replaceAll('\n', '\r')},
    crlf: {[BASE]: text => text.replaceAll('\n', '\r\n'), [SETTINGS]: text => text.replaceAll('\n', '\r\n')},
    one_line: {[BASE]: '21 '.repeat(340000)},
    a_million_lines: {[BASE]: '\n'.repeat(1 << 20)},
    too_large: {[BASE]: 'x'.repeat((1 << 20) + 1)},
    markup_in_names: {[BASE]: text => text.replace('PLAY_A', MARKUP), [LABELS]: text => text.replace('sync', MARKUP)},
    markup_in_settings: {[SETTINGS]: text => text.replace('Orvik Two Deck', '</h1><b>"&amp;')},
    escapes: {[COLORS]: text => text.replace('[1;32m', '[999;999H\\033[2J\\033[31m'), [LABELS]: text => text.replace('loop_in', '\x1b[2J\x07')},
    latin1: {[BASE]: text => Buffer.from(text.replace('CUE_A', 'K\xfchl'), 'latin1')},
    huge_numbers: {[BASE]: text => text.replace(/^(\d+) (\d+) (\d+)/gm, '$1 $2 99999999999999999999')},
    negative: {[BASE]: text => text.replace(/^(\d+) (\d+) (\d+)/gm, '$1 -1 -$3'), [PLACES]: text => text.replace(/^\d+ \d+/gm, '-5 -7')},
    every_line_twice: {[BASE]: text => text + text, [LABELS]: text => text + text, [PLACES]: text => text + text},
    images: {'orv_midi_screen.ppm': 'P6 4000000000 2 255\n', 'orv_midi_screen_wide.ppm': 'P6\n480 272\n255\n'},
};

export function hostileFolders(resources, directory) {
    rmSync(directory, {recursive: true, force: true});
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
