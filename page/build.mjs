// build.mjs ENGINE.wasm DIRECTORY PAGE
//
// Puts the page together: one file with the style, the script, the engine and a configuration in it.
import {execFileSync} from 'node:child_process';
import {createHash} from 'node:crypto';
import {readFileSync, readdirSync, statSync, writeFileSync} from 'node:fs';
import {basename, join, resolve} from 'node:path';
import {MOST_BYTES, isPart} from './files.mjs';

const MODULES = ['dom', 'files', 'engine', 'screen', 'controls', 'front', 'tables', 'form', 'play', 'midi', 'main'];
const here = name => readFileSync(new URL(name, import.meta.url), 'utf8');
// By the program, whose bytes are the same on every processor.
const packed = bytes => execFileSync('gzip', ['-9n'], {input: bytes}).toString('base64');
const hashed = text => `'sha256-${createHash('sha256').update(text).digest('base64')}'`;

// The modules one after the other; their names differ, so that they need no others.
function script() {
    const bare = MODULES.map(name => here(`${name}.mjs`)
        .replace(/^import [^;]*;\n/gm, '').replace(/^export /gm, ''));
    return `'use strict';\n(() => {\n${bare.join('\n')}})();\n`;
}

function configuration(directory) {
    const files = {};
    for (const name of readdirSync(directory).sort()) {
        const path = join(directory, name), about = statSync(path, {throwIfNoEntry: false});
        if (isPart(name) && about?.isFile() && about.size <= MOST_BYTES)
            files[name] = packed(readFileSync(path));
    }
    return JSON.stringify({directory: basename(resolve(directory)), files}).replaceAll('<', '\\u003c');
}

const [engine, directory, page] = process.argv.slice(2);
const parts = {STYLE: here('style.css'), SCRIPT: script(), ENGINE: packed(readFileSync(engine)),
    FILES: configuration(directory), NOTICES: here('NOTICES').replaceAll('<', '&lt;')};
parts.POLICY = [`default-src 'none'`, `script-src ${hashed(parts.SCRIPT)} 'wasm-unsafe-eval'`,
    `style-src ${hashed(parts.STYLE)}`, 'img-src data:', `base-uri 'none'`, `form-action 'none'`].join('; ');
writeFileSync(page, here('page.html').replace(/%([A-Z]+)%/g, (_, name) => parts[name]));
