// The page: what is loaded, what is shown of it, and what is done with it.
import {completed, findingsOf, findingsOfLabel, markOf, titleOf} from './controls.mjs';
import {byId, html} from './dom.mjs';
import {Engine, unpacked} from './engine.mjs';
import {
    BASE, Files, SPLASH, WIDE_SPLASH, difference, download, dropped, filesOfHandle, readAll, saveInto, toBytes,
    toString,
} from './files.mjs';
import {Form, TextPane, addColor, addPreset, additionsTo, fieldsOfControl, fieldsOfSettings} from './form.mjs';
import {drawFront, elementOf, paint} from './front.mjs';
import {Heard, askForPorts, sendTo} from './midi.mjs';
import {Player, describe, handlePlaying} from './play.mjs';
import {clamp, drawScreen, imageOf} from './screen.mjs';
import {drawChart, drawControls, drawDifference, drawFindings, drawLabels} from './tables.mjs';

const MOST_LOGGED = 200, COLOR_NAMES = ['black', 'red', 'green', 'yellow', 'blue', 'magenta', 'cyan', 'white'];

const app = {
    files: new Files(new Map()), module: null, data: null, findings: [], name: '', folder: null,
    player: null, lit: null, selected: null, labelFollows: true, heard: new Heard(),

    get isPlaying() {
        return byId('mode-play').checked;
    },
    edit(changes, key) {
        if (app.files.edit({...changes, ...checkedCopies(changes)}, key))
            show();
    },
};
const controlForm = new Form(byId('fields')), settingsForm = new Form(byId('settings-fields'));
const text = new TextPane(app, byId('file'), byId('text'), byId('line'));
const front = byId('front'), mixerScreen = html('div', {id: 'screen'}), images = new Map();  // drawn, by their bytes

// A preset other than 0 is used by its checked copy, which the owner would make with the script.
function checkedCopies(changes) {
    const presets = Object.keys(changes).filter(name => /cfg[1-9]\d*\.txt$/.test(name));
    return Object.fromEntries(presets.map(name => {
        const files = new Map([...app.files.now, [name, toBytes(changes[name])]]);
        const copy = new Engine(app.module, files).checkedCopy(name);
        return [`${name}.ok`, copy && toString(copy)];
    }));
}

// --- Showing ---

// Everything anew from the files.
function show(isUndone = false) {
    let screens = [];
    try {
        const engine = new Engine(app.module, app.files.now), data = engine.export();
        Object.assign(app, {data: data && completed(data, app.files), findings: engine.check(), player: null});
        screens = data ? drawScreens() : [];
        byId('trouble').textContent = data ? '' : `${BASE} is missing, so there is nothing to draw.`;
    } catch (error) {
        Object.assign(app, {data: null, findings: []});
        byId('trouble').textContent = `The engine has stopped: ${error.message}`;
    }
    document.body.classList.toggle('empty', !app.data);
    showSummary();
    byId('findings-list').replaceChildren(drawFindings(app.data, app.findings, openFinding));
    if (app.data) {
        byId('screens').replaceChildren(...screens);
        byId('labels').replaceChildren(drawLabels(app.data, app.findings));
        byId('controls').replaceChildren(drawControls(app.data, app.findings));
        byId('chart').replaceChildren(drawChart(app.data));
        showFront();
    }
    showControl(isUndone);
    settingsForm.show('settings', fieldsOfSettings(app), isUndone);
    text.refresh();
}

function showSummary() {
    const {data, findings, files} = app, changes = files.changed.length;
    const product = data?.product_name || 'Controller';
    document.title = `${product}: controls`;
    byId('product').textContent = product;
    byId('summary').textContent = [app.name, data && (data.channel === null
        ? 'no valid MIDI channel: nothing from the host is used' : `MIDI channel ${data.channel + 1}`),
    Number.isInteger(data?.preset) && `preset ${data.preset}`].filter(Boolean).join(', ');
    byId('counts').textContent = ['error', 'warning', 'note'].map(level => {
        const count = findings.filter(one => one.severity === level).length;
        return `${count} ${level}${count === 1 ? '' : 's'}`;
    }).join(', ');
    byId('undo').disabled = !files.canUndo;
    byId('save').disabled = changes === 0;
    byId('save').textContent = changes > 0 ? `Save (${changes})\u2026` : 'Save\u2026';
}

function screen(shown, title) {
    const {labels} = app.data, bytes = app.files.now.get(labels.length > 0 ? SPLASH : WIDE_SPLASH);
    if (bytes && !images.has(bytes))
        images.set(bytes, imageOf(bytes));
    const marks = labels.map(label => ({...label, ...markOf(findingsOfLabel(app.findings, label))}));
    return drawScreen(shown, images.get(bytes), marks.filter(mark => mark.level && mark.row), title);
}

// The labels as the daemon draws them: with all of them lit, and after the start.
function drawScreens() {
    const player = new Player(new Engine(app.module, app.files.now), app.data);
    const figure = title => html('figure', {}, screen(player.console, title), html('figcaption', {}, title));
    const off = figure('All labels off, as after the start');
    player.lightLabels();
    app.lit = player.console;
    return [figure('All labels on'), off];
}

function showMixerScreen() {
    mixerScreen.replaceChildren(app.isPlaying ? screen(player().console, 'The screen')
        : screen(app.lit, 'The screen, all labels on'));
}

function showFront() {
    drawFront(front, app, mixerScreen);
    showMixerScreen();
    showStates();
    if (app.isPlaying)
        drawNotes();
}

const showStates = () => app.data.controls.forEach(one => showState(one.index));

function showState(index) {
    const played = app.isPlaying && player().states[index], selected = !app.isPlaying && index === app.selected;
    paint(elementOf(front, index), {...played, ...app.heard.states[index], selected});
}

// --- Changing ---

function showControl(isUndone = false) {
    const control = app.data?.controls[app.selected ?? -1];
    byId('control').hidden = !control;
    byId('hint').hidden = !!control;
    controlForm.show(`control ${app.selected}`, control ? fieldsOfControl(app, control) : [], isUndone);
    if (!control)
        return;
    byId('control-name').textContent = titleOf(control);
    byId('control-kind').textContent =
        `${control.kind}, index ${control.index}, ${control.line === null ? 'no line' : `line ${control.line}`}`;
    const ends = {'From the board': control.from_board, 'To the host': control.to_host,
        'From the host': control.from_host, 'To the board': control.to_board};
    byId('messages').replaceChildren(...Object.entries(ends).flatMap(([title, end]) => [html('dt', {}, title),
        html('dd', {}, end ? end.bytes.map(bytes => html('code', {}, bytes)) : 'none')]));
    byId('control-findings').replaceChildren(...findingsOf(app.findings, control).map(one =>
        html('li', {}, html('b', {class: one.severity}, one.severity), ' ', one.text)));
    byId('additions').replaceChildren(...additionsTo(app, control).map(
        ([name, add]) => html('button', {type: 'button', onclick: add}, name)));
    byId('add-color').hidden = !control.label;
}

function select(index) {
    const before = app.selected, {line} = app.data.controls[index];
    app.selected = index;
    [before, index].filter(Number.isInteger).forEach(showState);
    showControl();
    if (line)
        text.open(BASE, line);
}

function openFinding(finding) {
    byId('mode-change').click();
    if (Number.isInteger(finding.control))
        select(finding.control);
    if (app.files.now.has(finding.file))
        text.open(finding.file, finding.line);
    byId('text-part').open = true;
    byId('text').focus();
}

function changeByClick(event) {
    const element = event.target.closest('.c');
    if (!element || app.isPlaying)
        return;
    select(Number(element.dataset.index));
    if (event.detail === 0)  // by a key
        byId('fields').querySelector('input, select')?.focus();
    else if (byId('control').getBoundingClientRect().top > innerHeight)
        byId('control').scrollIntoView({behavior: 'smooth'});
}

function undo() {
    app.files.undo();
    show(true);
}

// --- Playing ---

// The one that plays what is shown, started when first asked for.
function player() {
    app.player ??= new Player(new Engine(app.module, app.files.now), app.data, tell, index => {
        if (app.player && app.isPlaying)
            index === null ? showMixerScreen() : showState(index);
    });
    return app.player;
}

function tell(end, bytes) {
    log(end === 'to_host' ? '\u2192 host' : 'host \u2192', describe(app.data, end, bytes));
    sendTo(end === 'to_host' ? 'beTo' : 'drive', bytes);
}

function log(direction, words) {
    byId('log').prepend(html('li', {}, html('b', {}, direction), ' ', words));
    byId('log').children[MOST_LOGGED]?.remove();
}

function setMode() {
    document.body.classList.toggle('playing', app.isPlaying);
    byId('change').hidden = app.isPlaying;
    byId('play').hidden = !app.isPlaying;
    if (app.data)
        showFront();
}

// A note for each number, those that a light has in bold; arrows move between them.
function drawNotes() {
    byId('notes').replaceChildren(...Array.from({length: 128}, (_, number) => {
        const lit = app.data.controls.filter(({from_host: from}) => from?.type === 'note' && from.number === number);
        const names = lit.map(titleOf).join(', ') || 'no light';
        return html('button', {type: 'button', 'aria-pressed': 'false', tabindex: number === 60 ? 0 : -1, value: number,
            class: lit.length > 0 && 'used', title: names, 'aria-label': `note ${number}, ${names}`}, String(number));
    }));
}

function playNote({target}) {
    const isOn = target.getAttribute('aria-pressed') === 'false';
    target.setAttribute('aria-pressed', isOn);
    player().sendNote(Number(target.value), isOn ? 127 : 0);
}

function moveBetweenNotes(event) {
    const step = {ArrowRight: 1, ArrowLeft: -1, ArrowDown: 16, ArrowUp: -16}[event.key];
    const next = step && byId('notes').children[Number(event.target.value) + step];
    if (!next)
        return;
    event.target.tabIndex = -1;
    next.tabIndex = 0;
    next.focus();
    event.preventDefault();
}

function sendMessage() {
    const [number, value] = ['send-number', 'send-value'].map(id => clamp(Math.trunc(byId(id).value), 0, 127));
    if (app.data)
        player().sendHost([Number(byId('send-kind').value) | player().channel, number, value]);
}

// --- MIDI ---

function hear(bytes) {
    app.heard.take(app.data, bytes).forEach(one => showState(one.index));
    log('heard', describe(app.data, 'to_host', bytes));
    showHeard();
}

function showHeard() {
    const all = app.data.controls.filter(one => one.to_host), missing = all.filter(one => !app.heard.states[one.index]);
    const isPart = missing.length > 0 && missing.length < all.length;
    byId('heard').textContent = `${all.length - missing.length} of ${all.length} heard` +
        (isPart ? `; not yet: ${missing.map(titleOf).join(', ')}` : '');
    byId('strangers').replaceChildren(...[...app.heard.strangers].map(([bytes, words]) =>
        html('li', {}, `${bytes}  ${words}: belongs to no control`)));
}

async function askForMidi() {
    const ifShown = take => bytes => app.data && take(bytes);
    try {
        await askForPorts({listen: ifShown(hear), beFrom: ifShown(bytes => player().sendHost(bytes))});
        byId('midi-ports').hidden = false;
        byId('midi-told').textContent = '';
    } catch (error) {
        byId('midi-told').textContent = error.message;
    }
}

function forget() {
    app.heard = new Heard();
    showStates();
    showHeard();
}

// --- Files ---

const isKept = () => app.files.changed.length === 0 || confirm('What has changed is not saved. Go on without it?');

function open(map, name, folder = null) {
    Object.assign(app, {files: new Files(map), name, folder, selected: null, heard: new Heard()});
    show();
    text.open(BASE);
}

// A folder, or single files that take the place of those of the same names.
async function take(list, name, folder = null) {
    if (!isKept())
        return;
    const {files, told} = await readAll(list);
    if (files.size === 0)
        told.push('There is no file of a configuration in it.');
    else if (name)
        open(files, name, folder);
    else
        open(new Map([...app.files.saved, ...files]), `${app.name} with ${[...files.keys()].join(', ')}`);
    byId('told').replaceChildren(...told.map(one => html('li', {}, one)));
}

async function openFolder() {
    if (!window.showDirectoryPicker) {
        byId('folder').click();
        return;
    }
    const folder = await showDirectoryPicker({mode: 'readwrite'}).catch(() => null);
    if (folder)
        await take(await filesOfHandle(folder), folder.name, folder);
}

async function takeDropped(event) {
    event.preventDefault();
    try {
        const {list, folder, name} = await dropped(event.dataTransfer);
        await take(list, name, folder);
    } catch (error) {
        byId('told').replaceChildren(html('li', {},
            `This browser cannot read what was dropped (${error.message}); open it above.`));
    }
}

function askToSave() {
    const {files} = app;
    byId('differences').replaceChildren(...files.changed.map(
        name => drawDifference(name, difference(files.text(name, files.saved), files.text(name)))));
    byId('save-told').textContent = '';
    byId('save-now').textContent = app.folder || window.showDirectoryPicker ? 'Save into the folder' : 'Download';
    byId('save-dialog').showModal();
}

function saveAsDownloads() {
    download(app.files);
    byId('save-dialog').close();
    showSummary();
}

async function save() {
    try {
        app.folder ??= await window.showDirectoryPicker?.({mode: 'readwrite'});
        if (!app.folder) {
            saveAsDownloads();
            return;
        }
        if (await app.folder.requestPermission?.({mode: 'readwrite'}) === 'denied')
            throw new Error('The browser may not write there.');
        await saveInto(app.folder, app.files);
        byId('save-dialog').close();
        showSummary();
    } catch (error) {
        byId('save-told').textContent = error.name === 'AbortError' ? 'Nothing was saved.' : error.message;
    }
}

// --- What is done where ---

const options = names => names.map((name, i) => html('option', {value: i}, name));
byId('color-fore').append(...options([...COLOR_NAMES, ...COLOR_NAMES.map(name => `bright ${name}`)]));
byId('color-back').append(...options(COLOR_NAMES));

function addOwnColor() {
    const [name, fore, back] = ['color-name', 'color-fore', 'color-back'].map(id => byId(id).value);
    if (name.trim() !== '')
        addColor(app, name, Number(fore), Number(back));
}

function handleKeys(event) {
    const isUndo = (event.ctrlKey || event.metaKey) && !event.shiftKey && event.key === 'z' && app.files.canUndo;
    if (isUndo) {
        event.preventDefault();
        undo();
    }
}

const HANDLED = [
    ['front', 'click', changeByClick],
    ['change', 'keydown', event => event.key === 'Escape' && elementOf(front, app.selected)?.focus()],
    ['mode-change', 'change', setMode], ['mode-play', 'change', setMode],
    ['add-preset', 'click', () => addPreset(app)], ['color-add', 'click', addOwnColor],
    ['notes', 'click', event => event.target.value && playNote(event)], ['notes', 'keydown', moveBetweenNotes],
    ['send', 'click', sendMessage],
    ['midi-ask', 'click', askForMidi], ['forget', 'click', forget],
    ['open-folder', 'click', openFolder], ['open-files', 'click', () => byId('files-chosen').click()],
    ['folder', 'change', ({target: {files}}) => take(files, files[0]?.webkitRelativePath.split('/')[0] || 'folder')],
    ['files-chosen', 'change', event => take(event.target.files, '')],
    ['undo', 'click', undo],
    ['save', 'click', askToSave], ['save-now', 'click', save], ['save-download', 'click', saveAsDownloads],
    [document, 'keydown', handleKeys],
    [document, 'dragover', event => event.preventDefault()], [document, 'drop', takeDropped],
    [window, 'beforeunload', event => app.files.changed.length > 0 && event.preventDefault()],
];
for (const [what, event, does] of HANDLED)
    (typeof what === 'string' ? byId(what) : what).addEventListener(event, does);
const controlAt = element =>
    app.data.controls[(element.closest('.c') ?? element.querySelector('.turn'))?.dataset.index];
handlePlaying(front, () => (app.isPlaying && app.data ? {player: player(), controlAt} : null));

async function begin() {
    const packed = JSON.parse(byId('files').textContent), files = new Map();
    for (const [name, content] of Object.entries(packed.files))
        files.set(name, new Uint8Array(await unpacked(content)));
    app.module = await WebAssembly.compile(await unpacked(byId('engine').textContent));
    open(files, packed.directory);
}
begin().catch(error => (byId('trouble').textContent = `The page cannot begin: ${error.message}`));
