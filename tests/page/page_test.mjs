// page_test.mjs RESOURCES CTLMAP BUILT DOCUMENT: the page's modules without a browser. BUILT is the directory
// of the built page and its engine, DOCUMENT the page among the documents.
import assert from 'node:assert';
import {spawnSync} from 'node:child_process';
import {mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {after, test} from 'node:test';
import {completed, freeNumbers, holders, inWords, numberText, shortName} from '../../page/controls.mjs';
import {Engine} from '../../page/engine.mjs';
import * as files from '../../page/files.mjs';
import {Heard} from '../../page/midi.mjs';
import {Player} from '../../page/play.mjs';
import {Console, colorsOfSequence} from '../../page/screen.mjs';
import {hostileFolders, numbersFrom, randomConfiguration} from './configurations.mjs';

const [resources, ctlmap, built, document] = process.argv.slice(2);
const module = new WebAssembly.Module(readFileSync(join(built, 'engine.wasm')));
const mapOf = folder => new Map(readdirSync(folder).map(
    name => [name, new Uint8Array(readFileSync(join(folder, name)))]));
const delivered = mapOf(resources);
const scratch = mkdtempSync(join(tmpdir(), 'page-'));
after(() => rmSync(scratch, {recursive: true}));

// --- Files ---

test('bytes go through text unchanged', () => {
    const all = Uint8Array.from({length: 70000}, (_, i) => i * 7 & 255);
    assert.deepEqual(files.toBytes(files.toString(all)), all);
});

const setting = (text, value) => files.withSetting(text, 'midi_channel', value);
const EDITS = [
    [files.withField('#\n21 1 60 3 0 1 2 PLAY_A\n#', 2, 2, '50'), '#\n21 1 50 3 0 1 2 PLAY_A\n#'],
    [files.withField('21\t1   60 3\r\n', 1, 2, '5'), '21\t1   5 3\r\n'],
    [files.withField('DECK_A_1  sync       62 X  # \xfc\n', 1, 2, '50'), 'DECK_A_1  sync       50 X  # \xfc\n'],
    [files.withField('21 1\n', 1, 2, '50'), '21 1\n'],
    [files.withField('21 1\n', 2, 0, '50'), '21 1\n'],
    [files.withField('a b', 1, 1, '$&'), 'a $&'],
    [setting('midi_channel=0\nx=1\n', '$&'), 'midi_channel=$&\nx=1\n'],
    [setting('# midi_channel=3\r\nmidi_channel=0\r\n', '4'), '# midi_channel=3\r\nmidi_channel=4\r\n'],
    [setting('x=1', '4'), 'x=1\nmidi_channel=4\n'],
    [setting('x=1\r\n', '4'), 'x=1\r\nmidi_channel=4\r\n'],
    [setting('', '4'), 'midi_channel=4\n'],
];
test('a field or a setting is replaced or added, and nothing around it', () => {
    for (const [edited, wanted] of EDITS)
        assert.equal(edited, wanted);
});

test('what is typed changes only its place, whatever the line ends and the encoding', () => {
    const below = numbersFrom(1), ends = ['\n', '\r\n', '\r'], letters = ['a', 'b', '\xc3\xbc', '\xe2\x82\xac', ' '];
    const some = () => Array.from({length: 1 + below(4)}, () => letters[below(letters.length)]).join('');
    const shown = string => files.decode(string).replace(/\r\n?/g, '\n');
    for (let i = 0; i < 2000; ++i) {
        const lines = Array.from({length: 1 + below(6)}, () => [some(), ends[below(3)]]), at = below(lines.length);
        const before = lines.flat().join('');
        lines[at][0] = some();
        const after = lines.flat().join('');
        assert.equal(files.withTyped(before, shown(after)), after, JSON.stringify(before));
    }
    assert.equal(files.withTyped('a\r\nb\r\nc\n', 'a\nx\ny\nc\n'), 'a\r\nx\r\ny\r\nc\n');
    assert.equal(files.withTyped('#\xfc\rb', '#\xfc\nb\xe9\u20ac'), '#\xfc\rb\xe9\xe2\x82\xac');  // not UTF-8
});

test('a difference can be taken back, and shows no more than it must', () => {
    const below = numbersFrom(2), line = () => `${below(6)}\n`;
    for (let i = 0; i < 500; ++i) {
        const before = Array.from({length: below(20)}, line), after = [...before];
        for (let k = below(4); k > 0; --k)
            after.splice(below(after.length + 1), below(3), ...Array.from({length: below(3)}, line));
        const parts = files.difference(before.join(''), after.join(''), 100);
        for (const [text, other] of [[before, '+'], [after, '-']])
            assert.equal(parts.filter(([mark]) => mark !== other).map(part => part[1]).join(''),
                before.join('') === after.join('') ? '' : text.join(''));
        parts.forEach(([mark, text, number]) => assert.equal((mark === '+' ? after : before)[number - 1], text));
    }
    const marks = files.difference('a\nb\nc\nd\ne\n', 'a\nb\nx\nd\ne\n', 1).map(part => part[0]);
    assert.equal(marks.join(''), ' -+ ');
});

test('edits are undone one by one, those with one key at once, new and removed files, too', () => {
    const all = new files.Files(new Map([['a', files.toBytes('1\n')], ['b', files.toBytes('x\xff')]]));
    all.edit({a: '2\n'}, 'key');
    all.edit({a: '3\n', c: 'new'}, 'key');
    all.edit({b: null});
    assert.equal(all.edit({a: '3\n'}), false);
    assert.deepEqual(all.changed.sort(), ['a', 'b', 'c']);
    all.undo();
    assert.deepEqual([all.changed.sort(), all.text('b')], [['a', 'c'], 'x\xff']);
    all.undo();
    assert.deepEqual([all.changed, all.canUndo, all.text('a'), all.now.has('c')], [[], false, '1\n', false]);
});

test('files that are too large or no part are named and left out', async () => {
    const file = (name, size) => ({name, size, arrayBuffer: async () => new ArrayBuffer(size)});
    const {files: taken, told} = await files.readAll([file('orvik.sys.cfg', 3), file('orvik.midictl.cfg', 1048577),
        file('orvik.midictl.cfg17.txt', 1), file('../orvik.sys.cfg', 1), file('__proto__', 1)]);
    assert.deepEqual([...taken.keys()], ['orvik.sys.cfg', 'orvik.midictl.cfg17.txt']);
    assert.deepEqual(told, ['orvik.midictl.cfg is refused: 1048577 bytes, more than 1048576',
        '2 files are not part of a configuration and left out']);
});

// --- Screen ---

const SHOWN = [
    ['\x1b[3;2H\x1b[1;31mSYNC\x1b[0m', [[2, 1, 'SYNC', '#f55', '#000']]],
    ['\x1b[0;30;42mA\x1b[7mB', [[0, 0, 'A', '#000', '#0a0'], [0, 1, 'B', '#0a0', '#000']]],
    ['\x1b[99;99HAB', [[15, 59, 'A', '#aaa', '#000'], [16, 0, 'B', '#aaa', '#000']]],
    ['one\x1b[2J', []],
    ['\x1b[94;101mx\x1b[39;49my', [[0, 0, 'x', '#55f', '#f55'], [0, 1, 'y', '#aaa', '#000']]],
    ['ab\rc\x1b[2;1Hd\x1b[1;2H\x1b[K', [[0, 0, 'c', '#aaa', '#000'], [1, 0, 'd', '#aaa', '#000']]],
    ['\x1b[999;1m\x1b[?25l\x1b]', []],
    ['\u00fc\u{1f600}', [[0, 0, '\u00fc\u{1f600}', '#aaa', '#000']]],
];
test('the console shows what the sequences say', () => {
    for (const [written, wanted] of SHOWN) {
        const runs = new Console().write(written).runs();
        assert.deepEqual(runs.map(({row, column, text, fore, back}) => [row, column, text, fore, back]), wanted);
    }
    assert.deepEqual(colorsOfSequence('\\e[1;33m'), ['#ff5', '#000']);
    assert.deepEqual(colorsOfSequence('[1;33m'), ['#aaa', '#000']);
});

// --- Numbers and names ---

test('a taken number is said by whom, and free ones are offered', () => {
    const all = new files.Files(delivered), ask = () => completed(new Engine(module, all.now).export(), all);
    const data = ask(), [fader, play] = [data.controls[0], data.controls[21]];
    assert.deepEqual([holders(data, play, 61), holders(data, play, 60)], [['CUE_A'], []]);
    assert.deepEqual(freeNumbers(data, play, 62, 3), [60, 59, 58]);
    assert.deepEqual(freeNumbers(data, fader, 119, 2), [118, 117]);
    assert.deepEqual([play, data.controls[84]].map(numberText), ['note 60', 'no number']);
    assert.equal(shortName(play), 'PLAY');
    assert.equal(data.labels.length, 24);
    all.edit({[files.BASE]: all.text(files.BASE).replace('78 51 117 ', '78 51 60 ')});
    const beat = ask().controls[78];
    assert.deepEqual([beat.from_host, beat.number, numberText(beat)], [null, 60, '(note 60)']);
    assert.equal(inWords([0x92, 60, 127]), 'note-on 60, velocity 127, channel 3');
});

// --- Engine ---

// The same answers as the program for owners gives, byte for byte.
function compare(what, map) {
    const folder = join(scratch, 'folder'), engine = new Engine(module, map);
    rmSync(folder, {recursive: true, force: true});
    spawnSync('cp', ['-r', resources, folder]);
    readdirSync(folder).filter(name => !map.has(name)).forEach(name => rmSync(join(folder, name)));
    map.forEach((bytes, name) => writeFileSync(join(folder, name), bytes));
    const native = (...words) => spawnSync(ctlmap, [...words, folder], {encoding: 'utf8'}).stdout;
    assert.equal(engine.answer('export'), native('export', '--format', 'json'), what);
    const named = engine.answer('check').replace('"directory": ""', `"directory": "${folder}"`);
    assert.equal(named, native('check', '--json'), what);
}

test('the page and ctlmap say the same of 200 random configurations and of hostile ones', () => {
    for (let seed = 1; seed <= 200; ++seed)
        compare(`seed ${seed}`, randomConfiguration(delivered, seed));
    const folders = hostileFolders(resources, join(scratch, 'hostile')).filter(name => !name.endsWith('too_large'));
    folders.forEach(folder => compare(folder, mapOf(folder)));
});

// --- Playing ---

function played() {
    const said = [], data = completed(new Engine(module, delivered).export(), new files.Files(delivered));
    const player = new Player(new Engine(module, delivered), data, (end, bytes) => said.push([end, ...bytes]));
    return {player, data, said};
}

test('what hands do reaches the host, and what it sends lights up', () => {
    const {player, data, said} = played(), of = index => data.controls[index];
    player.press(of(21), true);
    player.press(of(21), false);
    player.set(of(0), 127);
    player.spin(of(12), 16);
    player.spin(of(14), -130);
    player.spin(of(14), 0);
    assert.deepEqual(said, [['to_host', 0x90, 60, 127], ['to_host', 0x80, 60, 0], ['to_host', 0xB0, 7, 127],
        ['to_host', 0xB0, 19, 66], ['to_host', 0xB0, 21, 33], ['to_host', 0xB0, 21, 33], ['to_host', 0xB0, 21, 62],
        ['to_host', 0xB0, 21, 64]]);
    player.sendNote(62, 100);
    player.set(of(82), 127);
    assert.deepEqual([player.states[23].lit, player.states[82].level, player.states[14].angle], [100, 7, -130]);
    assert.deepEqual(Object.values(player.console.runs()[0]), [2, 1, 10, 'SYNC     ', '#fff', '#000']);
    player.sendNote(62, 0);
    assert.equal(player.states[23].lit, 0);
    player.lightLabels();
    assert.deepEqual(data.controls.filter(one => one.label && player.states[one.index].lit !== 127), []);
});

test('what is heard marks its controls, and strangers are named', () => {
    const {data} = played(), heard = new Heard();
    const names = [[0x90, 60, 127], [0xB0, 19, 70], [0xB0, 7, 9], [0x91, 60, 1], [0xF8], [0xC0, 5]].map(
        bytes => heard.take(data, bytes).map(one => one.name));
    assert.deepEqual(names, [['PLAY_A'], ['PLATTER_A'], ['VOLUME_A'], [], [], []]);
    assert.deepEqual([heard.states[21].down, heard.states[12].angle, heard.states[0].position], [true, 6, 9]);
    assert.deepEqual([...heard.strangers.keys()], ['91 3C', 'F8', 'C0 05']);
});

// --- The page itself ---

test('the page among the documents is the one that is built', () => {
    const [wanted, seen] = [join(built, 'page.html'), document].map(path => readFileSync(path));
    assert(wanted.equals(seen), 'docs/page.html is an old one: ./run page && cp build/page.html docs/page.html');
});
