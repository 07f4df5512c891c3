// prove.mjs PAGE CTLMAP CTLBENCH REPOSITORY DIRECTORY [PART]
//
// Uses the page in a browser as an owner does: drops a folder, makes the recipes of the guide by
// clicks, saves, plays every control, and compares with the other programs. Pictures are left in the
// directory. Prints what was seen; status 1 if something was not as wanted.
import {execFileSync, spawnSync} from 'node:child_process';
import {cpSync, mkdirSync, readdirSync, rmSync, writeFileSync} from 'node:fs';
import {basename, join, resolve} from 'node:path';
import {openBrowser} from './browser.mjs';
import {hostileFolders} from './configurations.mjs';

const [page, ctlmap, ctlbench, repository, directory] = process.argv.slice(2, 7).map(path => resolve(path));
const resources = join(repository, 'resources'), downloads = join(directory, 'downloads');
const [TAB, ENTER, RIGHT] = ['\uE004', '\uE007', '\uE014'];
let failed = 0, passed = 0;

function same(what, wanted, seen) {
    const [a, b] = [wanted, seen].map(value => (typeof value === 'string' ? value : JSON.stringify(value)));
    a === b ? ++passed : ++failed;
    console.log(a === b ? `ok      ${what}` :
        `FAILED  ${what}\n  wanted: ${a?.slice(0, 1500)}\n  seen:   ${b?.slice(0, 1500)}`);
}

rmSync(directory, {recursive: true, force: true});
mkdirSync(downloads, {recursive: true});
const browser = await openBrowser(downloads);
const {run, cdp, click, type} = browser;
const wait = milliseconds => new Promise(done => setTimeout(done, milliseconds));

async function until(what, condition, ...args) {
    for (let i = 0; i < 200; ++i) {
        if (await run(condition, ...args))
            return;
        await wait(50);
    }
    throw new Error(`waited in vain: ${what}`);
}

async function open() {
    await browser.open(`file://${page}`);
    await until('the page', () => document.querySelectorAll('.c').length > 0);
}

async function drop(folder) {
    await run(() => (document.querySelector('#summary').textContent = ''));
    const data = {items: [], files: [folder], dragOperationsMask: 1};
    for (const kind of ['dragEnter', 'dragOver', 'drop'])
        await cdp('Input.dispatchDragEvent', {type: kind, x: 300, y: 300, data});
    await until(folder, name => document.querySelector('#summary').textContent.startsWith(name), basename(folder));
}

// Of an element a property, or else an attribute.
const at = (selector, name = 'textContent') => run((where, what) => {
    const element = document.querySelector(where);
    return element[what] ?? element.getAttribute(what);
}, selector, name);
const control = index => `.c[data-index="${index}"]`;
const pick = index => click(control(index));
const focus = selector => run(where => document.querySelector(where).focus(), selector);
const NUMBER = '#field-number';

async function fill(selector, text) {
    await focus(selector);
    await run(() => document.activeElement.select());
    await browser.keys(text);
}

const intoView = selector => run(where => document.querySelector(where).scrollIntoView({block: 'center'}), selector);

async function clickLight(index) {
    await intoView(control(index));
    await click(`${control(index)} .light`);
}

async function openToPlay() {
    await open();
    await click('#mode-play');
}

const choose = (selector, value) => run((where, what) => {
    const box = document.querySelector(where);
    box.value = what;
    ['input', 'change'].forEach(name => box.dispatchEvent(new Event(name, {bubbles: true})));
}, selector, value);

const {controls} = JSON.parse(execFileSync(ctlmap, ['export', '--format', 'json', resources]));

// What the page and ctlmap find, in the same form.
const inPage = () => run(() => [...document.querySelectorAll('#findings-list li')].map(one =>
    [one.querySelector('.place').textContent, one.querySelector('b').textContent,
        one.querySelector('small').textContent].join(' ')));
function byCtlmap(folder) {
    const {stdout} = spawnSync(ctlmap, ['check', '--json', folder], {encoding: 'utf8'});
    return JSON.parse(stdout).findings.map(one =>
        `${one.file}${one.line > 0 ? `:${one.line}` : ''} ${one.severity} [${one.rule}]`);
}

// Saves as downloads, into a copy of the delivered files; returns the copy.
async function save(name) {
    const folder = join(directory, name);
    rmSync(downloads, {recursive: true, force: true});
    mkdirSync(downloads);
    await click('#save');
    const count = await run(() => document.querySelectorAll('.difference').length);
    await click('#save-download');
    for (let i = 0; i < 100 && readdirSync(downloads).filter(one => !one.endsWith('.crdownload')).length < count; ++i)
        await wait(50);
    await wait(100);
    cpSync(resources, folder, {recursive: true});
    cpSync(downloads, folder, {recursive: true});
    return folder;
}

// --- The recipes, by clicks, and how the saved files differ from the delivered ones ---

const RECIPES = {
    button: [[[pick, 23], [fill, NUMBER, '50']],
        '< 23 3 62 3 0 1 2 SYNC_A', '> 23 3 50 3 0 1 2 SYNC_A',
        '< DECK_A_1  sync       62 BRIGHT_WHITE GREY', '> DECK_A_1  sync       50 BRIGHT_WHITE GREY'],
    fader: [[[pick, 0], [fill, NUMBER, '50']],
        '< 0 0 7 0 0 0 2 VOLUME_A', '> 0 0 50 0 0 0 2 VOLUME_A'],
    preset: [[[click, '#settings-part summary'], [click, '#add-preset'],
        [pick, 21], [click, '#additions button'], [fill, '#field-preset', '50'],
        [pick, 0], [click, '#additions button'], [fill, '#field-preset', '51']],
        '> # name and number, one control a line', '> PLAY_A 50', '> VOLUME_A 51',  // and the checked copy
        '> ', '> PLAY_A 50', '> VOLUME_A 51',
        '< midi_preset=', '> midi_preset=1'],
    channel: [[[click, '#settings-part summary'], [choose, '#field-midi_channel', '4']],
        '< midi_channel=0', '> midi_channel=4'],
    label: [[[pick, 28], [click, '#add-color summary'], [type, '#color-name', 'ON_GREEN'], [choose, '#color-fore', '0'],
        [choose, '#color-back', '2'], [click, '#color-add'], [choose, '#field-on', 'ON_GREEN'],
        [fill, '#field-label', 'go now']],
        '> 16 \\033[0;30;42m ON_GREEN',
        '< DECK_A_3  loop_in    67 GREEN        DARK_GREEN', '> DECK_A_3  go_now    67 ON_GREEN        DARK_GREEN'],
    dimmed_led: [[[pick, 78], [click, '#field-dim']],
        '< 78 51 117 2 0 1 2 BEAT_A', '> 78 51 117 2 0 0 2 BEAT_A'],
};

async function proveRecipes() {
    for (const [name, [steps, ...wanted]] of Object.entries(RECIPES)) {
        await open();
        await drop(resources);
        for (const [step, ...args] of steps)
            await step(...args);
        const found = await inPage(), folder = await save(`recipe_${name}`);
        same(`recipe ${name}: the same findings, ${found.length}`, byCtlmap(folder), found);
        const {stdout} = spawnSync('diff', ['-raN', resources, folder], {encoding: 'latin1'});
        same(`recipe ${name}: byte for byte, and nothing else`, wanted,
            stdout.split('\n').filter(line => /^[<>\\]/.test(line)));
    }
}

// --- Undo, both ways of editing, and saving into a folder ---

async function proveEditing() {
    await open();
    const text = () => at('#text', 'value'), before = await text();
    await pick(21);
    await fill(NUMBER, '61');
    same('a number that is taken says by whom', 'taken by CUE_A; free: ', (await at(`${NUMBER}-note`)).slice(0, 22));
    same('and it is a finding', 1, (await inPage()).filter(one => one.includes('[same-message]')).length);
    await click(`${NUMBER}-note button`);
    same('a free one is taken by a click', '60', await at(NUMBER, 'value'));
    same('in the text, too', true, (await text()).includes('\n21 1 60 3 0 1 2 PLAY_A\n'));
    await run(() => {
        const area = document.querySelector('#text');
        area.value = area.value.replace('21 1 60 ', '21 1 58 ');
        area.dispatchEvent(new Event('input'));
    });
    same('and back into the form', '58', await at(NUMBER, 'value'));
    same('and on the front', 'note 58', await at(`${control(21)} .v`));
    for (let i = 0; i < 9 && !await at('#undo', 'disabled'); ++i)
        await click('#undo');
    same('undone to the last byte', before, await text());
    await run(() => {
        const written = window.written = {};
        window.showDirectoryPicker = async () => ({
            getFileHandle: async name => ({createWritable: async () => ({
                write: async bytes => (written[name] = bytes.length), close: async () => {}})}),
        });
    });
    await fill(NUMBER, '59');
    await click('#save');
    const shown = await at('#differences');
    same('the diff has the line twice', true, ['- 21 1 60 3', '+ 21 1 59 3'].every(one => shown.includes(one)));
    await click('#save-now');
    await until('saving', () => !document.querySelector('#save-dialog').open);
    same('only what changed is written into the folder', {'orvik.midictl.cfg': before.length},
        await run(() => window.written));
    same('and nothing is left to save', true, await at('#save', 'disabled'));
}

// --- Playing, against the virtual controller ---

const logged = () => run(() => {
    const lines = [...document.querySelectorAll('#log li')].reverse().map(one => one.textContent);
    document.querySelector('#log').replaceChildren();
    return lines.map(line => /^\u2192 host ((?:[0-9A-F]{2} ?)+)/.exec(line)?.[1].trim()).filter(Boolean);
});

function play(name, steps) {
    const file = join(directory, `${name}.scn`);
    writeFileSync(file, steps.join('\n') + '\n');
    const {status, stdout} = spawnSync(ctlbench, ['play', '--quiet', file], {encoding: 'utf8', cwd: repository});
    same(`the virtual controller says the same: ${steps.length} steps of ${name}`, '',
        status === 0 ? '' : stdout.slice(-500));
}

async function provePlaying() {
    await openToPlay();
    const steps = [];
    await logged();
    for (const {index, kind, name} of controls.filter(one => one.to_host)) {
        await intoView(control(index));
        const box = await run(where => document.querySelector(where).getBoundingClientRect().toJSON(), control(index));
        const x = Math.round(box.x + box.width / 2), y = Math.round(box.y + box.height - 6);
        const isAcross = index === 16, up = kind === 'encoder' ? 80 : 40;
        const drag = {type: 'pointerMove', x: x + (isAcross ? 40 : 0), y: y - up, duration: 0};
        await browser.actions([{type: 'pointer', id: 'mouse', parameters: {pointerType: 'mouse'}, actions: [
            {type: 'pointerMove', x, y}, {type: 'pointerDown', button: 0}, ...kind === 'button' ? [] : [drag],
            {type: 'pointerUp', button: 0}]}]);
        const [begin, end] = {button: ['press', 'release'], pot: ['turn']}[kind] ?? ['spin', 'rest'];
        const amount = kind === 'button' ? '' : ` ${await at(control(index), 'aria-valuenow')}`;
        const expected = (await logged()).map(bytes => `host expect ${bytes}`);
        if (expected.length === 0)
            same(`${name} sends something`, 1, 0);
        steps.push(`board ${begin} ${name}${amount}`, ...expected.splice(0, end ? 1 : expected.length),
            ...end ? [`board ${end} ${name}`] : [], ...expected);
    }
    play('every_control', steps);
}

// --- Labels, lights and meters, against the emulated screen and board ---

const SHADES = '#000 #a00 #0a0 #a50 #00a #a0a #0aa #aaa #555 #f55 #5f5 #ff5 #55f #f5f #5ff #fff'.split(' ');
const NAMES = 'black red green yellow blue magenta cyan white'.split(' ');
const nameOf = shade => [...NAMES, ...NAMES.map(name => `bright ${name}`)][SHADES.indexOf(shade)];

async function proveLabels() {
    await openToPlay();
    const steps = [], labels = controls.filter(one => one.label);
    const shown = ({row, column}) => run((x, y) => {
        const [text, ground] = [['text', y + 12], ['rect', y]].map(([tag, top]) =>
            document.querySelector(`#screen ${tag}[x="${x}"][y="${top}"]:not(.mark)`));
        return [text.textContent, text.getAttribute('fill'), ground.getAttribute('fill')];
    }, 8 * (column - 1), 16 * (row - 1));
    for (const [i, {label, to_board: light}] of labels.entries()) {
        if (i % 3 !== 0) {
            await run(note => document.querySelectorAll('#notes button')[note].click(), label.note);
            steps.push(`host send 90 ${label.note.toString(16)} 7f`, `board expect 90 ${light.number.toString(16)} 7f`);
        }
        const [text, fore, back] = await shown(label);
        steps.push(`screen expect ${label.row} ${label.column} "${text}" ${nameOf(fore)} on ${nameOf(back)}`);
    }
    play('labels', steps);
    await clickLight(78);
    same('a click on a light lights it, in words as well', 'lit 127', await at(control(78), 'aria-description'));
    await focus(control(82));
    await browser.keys('\uE00E'.repeat(4));
    same('a meter follows the host', 'level 3', await at(control(82), 'aria-description'));
}

// --- Keyboard alone ---

async function proveKeyboard() {
    await open();
    const focused = () => run(() => document.activeElement.id || document.activeElement.dataset.index || '');
    const tabTo = async wanted => {
        for (let i = 0; i < 130 && await focused() !== wanted; ++i)
            await browser.keys(TAB);
        return focused();
    };
    await tabTo('23');
    await browser.keys(ENTER);
    same('Tab and Enter choose a control', 'SYNC_A', await at('#control-name'));
    same('and lead to its number', 'field-number', await focused());
    await run(() => document.activeElement.select());
    await browser.keys('55');
    same('its number is typed', 'note 55', await at(`${control(23)} .v`));
    await browser.actions([{type: 'key', id: 'keys', actions: [{type: 'keyDown', value: '\uE009'},
        {type: 'keyDown', value: 'z'}, {type: 'keyUp', value: 'z'}, {type: 'keyUp', value: '\uE009'}]}]);
    same('and undone', 'note 62', await at(`${control(23)} .v`));
    await browser.keys('\uE00C');
    same('Escape leads back', '23', await focused());
    await run(() => document.activeElement.blur());
    await tabTo('mode-change');
    await browser.keys(RIGHT);
    await tabTo('21');
    await browser.keys(' ');
    same('Space presses and releases', ['90 3C 7F', '80 3C 00'], await logged());
    await tabTo('0');
    await browser.keys('\uE013');
    same('an arrow moves a fader', ['B0 07 01'], await logged());
    same('every control has a name for a screen reader', [], await run(() =>
        [...document.querySelectorAll('button, input, select, textarea, [role=slider]')]
            .filter(one => !(one.getAttribute('aria-label') || one.labels?.length || one.textContent.trim()))
            .map(one => one.outerHTML)));
}

// --- Hostile files ---

async function proveHostile() {
    for (const folder of hostileFolders(resources, join(directory, 'hostile'))) {
        await open();
        await drop(folder);
        await wait(100);
        const refused = (await at('#told')).includes('orvik.midictl.cfg is refused');
        const isTooLarge = basename(folder) === 'too_large';
        same(`${basename(folder)}: the same findings, or too large`, isTooLarge || byCtlmap(folder),
            refused || await inPage());
        same(`${basename(folder)}: no markup of its own`, 0, await run(() => document.querySelectorAll(
            'img, iframe, #product *, .n *, li b *, #labels b, [onerror]').length));
        await click('#mode-play');  // it still answers
    }
}

// --- MIDI, by a double of the browser's interface ---

const DOUBLE = `(() => {
    const port = (id, name) => ({id, name, sent: [], send(bytes) { this.sent.push([...bytes]); }});
    const inputs = new Map([['i1', port('i1', 'Controller')], ['i2', port('i2', 'Software')]]);
    const outputs = new Map([['o1', port('o1', 'Controller')], ['o2', port('o2', 'Software')]]);
    window.double = {inputs, outputs, asked: 0};
    navigator.requestMIDIAccess = async () => { ++window.double.asked; return window.double; };
})();`;

async function proveMidi() {
    await openToPlay();
    await run(() => {
        Object.defineProperty(navigator, 'requestMIDIAccess', {value: undefined, configurable: true});
        document.querySelector('#midi-ask').click();
    });
    await wait(100);
    same('without MIDI one sentence says what is missing', 'This browser has no MIDI; Chromium and Firefox have it.',
        await at('#midi-told'));
    const {identifier} = await cdp('Page.addScriptToEvaluateOnNewDocument', {source: DOUBLE});
    await openToPlay();
    same('not asked before the owner asks', 0, await run(() => window.double.asked));
    await run(() => document.querySelector('#midi-ask').click());
    await until('ports', () => document.querySelectorAll('#midi-listen option').length === 3);
    for (const [role, id] of [['listen', 'i1'], ['drive', 'o1'], ['beTo', 'o2'], ['beFrom', 'i2']])
        await choose(`#midi-${role}`, id);
    const sent = id => run(where => window.double.outputs.get(where).sent, id);
    const hear = (id, ...bytes) => run((where, data) =>
        window.double.inputs.get(where).onmidimessage({data: new Uint8Array(data)}), id, bytes);
    await hear('i1', 0x90, 60, 127);
    await hear('i1', 0xB0, 7, 100);
    await hear('i1', 0x90, 1, 127);
    same('heard and marked', [true, true, false], await run((...all) => all.map(
        where => document.querySelector(where).classList.contains('heard')), ...[21, 0, 22].map(control)));
    same('what belongs to no control is named', '90 01  note-on 1, channel 1: belongs to no control',
        await at('#strangers'));
    await clickLight(78);
    same('a click drives the light of a real one', [[0x90, 117, 127]], await sent('o1'));
    await focus(control(21));
    await browser.keys(' ');
    same('other software gets what a controller sends', [[0x90, 60, 127], [0x80, 60, 0]], await sent('o2'));
    await hear('i2', 0x90, 62, 127);
    same('and lights it', true, (await at(control(23), 'aria-description')).includes('lit 127'));
    await cdp('Page.removeScriptToEvaluateOnNewDocument', {identifier});
}

// --- How it looks ---

function overflows() {
    const faults = [], root = document.documentElement;
    if (root.scrollWidth > root.clientWidth)
        faults.push(`the page is ${root.scrollWidth} wide`);
    const meet = (a, b) => Math.min(a.right, b.right) - Math.max(a.left, b.left) > 0.5 &&
        Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top) > 0.3 * a.height;
    for (const panel of document.querySelectorAll('.panel')) {
        const box = panel.getBoundingClientRect();
        const texts = [...panel.querySelectorAll('.n, .v')].map(e => [e.textContent, e.getBoundingClientRect()]);
        for (const [i, [text, r]] of texts.entries()) {
            if (r.width > 0 && (r.left < box.left - 0.5 || r.right > box.right + 0.5 || r.bottom > box.bottom + 0.5))
                faults.push(`leaves its panel: ${text}`);
            texts.slice(i + 1).filter(other => meet(r, other[1])).forEach(
                other => faults.push(`overlap: ${text}, ${other[0]}`));
        }
    }
    return faults;
}

async function proveLooks() {
    const nasty = join(directory, 'nasty');
    execFileSync(join(repository, 'tests/nasty_mapping.sh'), [resources, nasty]);
    for (const folder of [resources, nasty]) {
        await open();
        await drop(folder);
        for (const width of [360, 800, 1600]) {
            await browser.size(width, 1000);
            same(`${basename(folder)}, ${width} pixels wide: nothing sticks out or overlaps`, [], await run(overflows));
            for (const scheme of ['dark', 'light']) {
                await browser.scheme(scheme);
                await browser.picture(join(directory, `${basename(folder)}-${width}-${scheme}.png`));
            }
        }
        await browser.print(join(directory, `${basename(folder)}.pdf`));
    }
}

try {
    await browser.size(1600, 1000);
    const parts = [proveRecipes, proveEditing, provePlaying, proveLabels, proveKeyboard, proveMidi, proveHostile,
        proveLooks];
    for (const part of parts.filter(one => [undefined, one.name].includes(process.argv[7])))
        await part();
    same('nothing was refused by the policy, and no script failed', [],
        (await browser.said()).filter(one => one.level === 'SEVERE').map(one => one.message));
} finally {
    await browser.close();
}
console.log(`${passed} as wanted, ${failed} not`);
process.exit(failed > 0 ? 1 : 0);
