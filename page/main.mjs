// The page: what is loaded, what is shown of it, and what is done with it.
import {findingsOf, findingsOfLabel, labelsOf, markOf, titleOf, withNumbers} from './controls.mjs';
import {byId, html} from './dom.mjs';
import {Engine, unpacked} from './engine.mjs';
import {
    BASE, Files, SPLASH, WIDE_SPLASH, download, dropped, filesOfHandle, readAll, saveInto, toBytes, toString,
} from './files.mjs';
import {Form, TextPane, addColor, addPreset, additionsTo, fieldsOfControl, fieldsOfSettings} from './form.mjs';
import {drawFront, elementOf, paint} from './front.mjs';
import {Heard, Ports} from './midi.mjs';
import {Player, describe, handlePlaying, setRoles} from './play.mjs';
import {Console, drawScreen, imageOf} from './screen.mjs';
import {drawChart, drawControls, drawDifference, drawFindings, drawLabels} from './tables.mjs';

const MOST_LOGGED = 200, COLOR_NAMES = ['black', 'red', 'green', 'yellow', 'blue', 'magenta', 'cyan', 'white'];

const app = {
    files: new Files(new Map()), module: null, data: null, report: {findings: []}, name: '', folder: null,
    player: null, selected: null, isPlaying: false, labelFollows: true, images: new Map(),
    heard: new Heard(), heardStates: new Map(),

    edit(changes, key) {
        if (app.files.edit({...changes, ...checkedCopies(changes)}, key))
            show();
    },
};
const controlForm = new Form(byId('fields')), settingsForm = new Form(byId('settings-fields'));
const text = new TextPane(app, byId('file'), byId('text'), byId('line'));
const front = byId('front'), mixerScreen = html('div', {id: 'screen'});
const ports = new Ports(hear, bytes => player()?.sendHost(bytes));

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
    let trouble = '';
    try {
        const engine = new Engine(app.module, app.files.now);
        app.data = engine.export();
        app.report = engine.check();
        if (app.data)
            withNumbers(app.data, app.files);
        app.player = null;
    } catch (error) {
        trouble = `The engine has stopped: ${error.message}`;
        app.data = null;
        app.report = {findings: []};
    }
    byId('trouble').textContent = trouble ||
        (app.data ? '' : `${BASE} is missing, so there is nothing to draw.`);
    document.body.classList.toggle('empty', !app.data);
    showSummary();
    byId('findings-list').replaceChildren(...drawFindings(app.data, app.report, openFinding));
    if (app.data) {
        drawFront(front, app.data, app.report, mixerScreen);
        showScreens();
        byId('labels').replaceChildren(...drawLabels(app.data, app.report));
        byId('controls').replaceChildren(drawControls(app.data, app.report));
        byId('chart').replaceChildren(drawChart(app.data));
        showStates();
    }
    showControl(isUndone);
    settingsForm.show('settings', fieldsOfSettings(app), isUndone);
    text.refresh();
}

function showSummary() {
    const {data, report, files} = app;
    const product = data?.product_name || 'Controller';
    document.title = `${product}: controls`;
    byId('product').textContent = product;
    const parts = [app.name];
    if (data)
        parts.push(data.channel === null ? 'no valid MIDI channel: nothing from the host is used'
            : `MIDI channel ${data.channel + 1}`);
    if (data?.preset !== null && data)
        parts.push(`preset ${data.preset}`);
    byId('summary').textContent = parts.join(', ');
    const count = (number, name) => `${number} ${name}${number === 1 ? '' : 's'}`;
    byId('counts').textContent = ['error', 'warning', 'note'].map(level => count(
        report.findings.filter(one => one.severity === level).length, level)).join(', ');
    byId('undo').disabled = !files.canUndo;
    byId('save').disabled = files.changed.length === 0;
    byId('save').textContent = files.changed.length > 0 ? `Save (${files.changed.length})\u2026` : 'Save\u2026';
}

function labelMarks() {
    return labelsOf(app.data).flatMap(label => {
        const mark = markOf(findingsOfLabel(app.report, label));
        return mark ? [{...mark, row: label.row, column: label.column}] : [];
    });
}

// A drawing of the bytes of an image; the last one is kept.
function image(name) {
    const bytes = app.files.now.get(name);
    if (bytes && app.images.get(name)?.bytes !== bytes)
        app.images.set(name, {bytes, url: imageOf(bytes)});
    return bytes ? app.images.get(name).url : null;
}

const splash = () => image(labelsOf(app.data).length > 0 ? SPLASH : WIDE_SPLASH);

// The labels as the daemon draws them: after the start, and with all of them lit.
function showScreens() {
    const marks = labelMarks(), figure = (title, shown) => html('figure', {},
        drawScreen(shown, splash(), marks, title), html('figcaption', {}, title));
    const engine = new Engine(app.module, app.files.now);
    const still = new Player(engine, app.data, () => {}, () => {});
    const off = figure('All labels off, as after the start', still.console);
    const notes = new Set(labelsOf(app.data).map(label => label.note).filter(note => note >= 0 && note < 128));
    notes.forEach(note => still.sendNote(note, 127));
    app.lit = still.console;
    byId('screens').replaceChildren(figure('All labels on', still.console), off);
    showMixerScreen();
}

function showMixerScreen() {
    const shown = app.isPlaying ? player().console : app.lit;
    mixerScreen.replaceChildren(drawScreen(shown ?? new Console(), splash(), labelMarks(),
        app.isPlaying ? 'The screen' : 'The screen, all labels on'));
}

function showStates() {
    if (app.isPlaying)
        drawNotes();
    for (const control of app.data.controls) {
        const element = elementOf(front, control.index);
        element.classList.toggle('selected', control.index === app.selected);
        if (app.isPlaying)
            setRoles(element, control);
        showState(control.index);
    }
}

function showState(index) {
    const element = elementOf(front, index), heard = app.heardStates.get(index);
    const played = app.isPlaying ? player().states.get(index) : {};
    paint(element, app.data.controls[index], {...played, ...heard});
}

// --- Changing ---

function showControl(isUndone = false) {
    const control = app.data?.controls[app.selected ?? -1];
    byId('control').hidden = !control;
    byId('hint').hidden = !!control;
    if (!control) {
        controlForm.show('', []);
        return;
    }
    byId('control-name').textContent = titleOf(control);
    byId('control-kind').textContent = `${control.kind}, index ${control.index}` +
        (control.line === null ? ', no line' : `, line ${control.line}`);
    const ends = [['From the board', control.from_board], ['To the host', control.to_host],
        ['From the host', control.from_host], ['To the board', control.to_board]];
    byId('messages').replaceChildren(...ends.flatMap(([title, end]) => [html('dt', {}, title),
        html('dd', {}, end ? end.bytes.map(bytes => html('code', {}, bytes)) : 'none')]));
    byId('control-findings').replaceChildren(...findingsOf(app.report, control.index).map(one =>
        html('li', {}, html('b', {class: one.severity}, one.severity), ' ', one.text)));
    controlForm.show(`control ${control.index}`, fieldsOfControl(app, control), isUndone);
    byId('additions').replaceChildren(...additionsTo(app, control).map(
        ([name, add]) => html('button', {type: 'button', onclick: add}, name)));
    byId('add-color').hidden = !control.label;
}

function select(index) {
    app.selected = index;
    front.querySelectorAll('.selected').forEach(one => one.classList.remove('selected'));
    elementOf(front, index)?.classList.add('selected');
    showControl();
    const {line} = app.data.controls[index];
    if (line)
        text.open(BASE, line);
}

function openFinding(finding) {
    setMode(false);
    if (finding.control !== null && finding.control !== undefined)
        select(finding.control);
    if (app.files.now.has(finding.file))
        text.open(finding.file, finding.line);
    byId('text-part').open = true;
    byId('text').focus();
}

// --- Playing ---

// The one that plays what is shown, started when first asked for.
function player() {
    if (!app.player && app.data) {
        let isStarted = false;
        const started = new Player(new Engine(app.module, app.files.now), app.data, tell, index => {
            if (isStarted && app.isPlaying)
                index === null ? showMixerScreen() : showState(index);
        });
        app.player = started;
        isStarted = true;
    }
    return app.player;
}

function tell(end, bytes) {
    log(end === 'to_host' ? '\u2192 host' : 'host \u2192', describe(app.data, end, bytes));
    if (end === 'to_host')
        ports.toSoftware(bytes);
    else
        ports.toLights(bytes);
}

function log(direction, words) {
    const list = byId('log');
    list.prepend(html('li', {}, html('b', {}, direction), ' ', words));
    if (list.children.length > MOST_LOGGED)
        list.lastChild.remove();
}

function setMode(isPlaying) {
    if (app.isPlaying === isPlaying)
        return;
    app.isPlaying = isPlaying;
    byId(isPlaying ? 'mode-play' : 'mode-change').checked = true;
    document.body.classList.toggle('playing', isPlaying);
    byId('change').hidden = isPlaying;
    byId('play').hidden = !isPlaying;
    if (!app.data)
        return;
    drawFront(front, app.data, app.report, mixerScreen);
    showMixerScreen();
    showStates();
}

// A note for each number, those that a light or label has in bold; arrows move between them.
function drawNotes() {
    const named = number => app.data.controls.filter(
        one => one.from_host?.type === 'note' && one.from_host.number === number).map(titleOf);
    const notes = Array.from({length: 128}, (_, number) => html('button',
        {type: 'button', 'aria-pressed': 'false', tabindex: number === 60 ? 0 : -1,
            class: named(number).length > 0 ? 'used' : null, title: named(number).join(', ') || 'no light',
            'aria-label': `note ${number}, ${named(number).join(', ') || 'no light'}`,
            onclick: ({target}) => {
                const isOn = target.getAttribute('aria-pressed') === 'false';
                target.setAttribute('aria-pressed', isOn);
                player().sendNote(number, isOn ? 127 : 0);
            }}, String(number)));
    byId('notes').replaceChildren(...notes);
}

byId('notes').addEventListener('keydown', event => {
    const step = {ArrowRight: 1, ArrowLeft: -1, ArrowDown: 16, ArrowUp: -16}[event.key];
    const all = [...byId('notes').children], next = all[all.indexOf(event.target) + (step ?? 0)];
    if (step && next) {
        event.target.tabIndex = -1;
        next.tabIndex = 0;
        next.focus();
        event.preventDefault();
    }
});

// --- MIDI ---

function hear(bytes) {
    if (!app.data)
        return;
    const stateOf = index => app.heardStates.get(index) ?? app.heardStates.set(index, {}).get(index);
    app.heard.take(app.data, bytes, stateOf).forEach(one => showState(one.index));
    log('heard', describe(app.data, 'to_host', bytes));
    showHeard();
}

function showHeard() {
    const {heard, all, missing} = app.heard.summary(app.data), strangers = [...app.heard.strangers];
    byId('heard').textContent = `${heard} of ${all} heard` +
        (heard > 0 && missing.length > 0 ? `; not yet: ${missing.join(', ')}` : '');
    byId('strangers').replaceChildren(...strangers.map(([bytes, words]) =>
        html('li', {}, `${bytes}  ${words}: belongs to no control`)));
}

function showPorts() {
    for (const [role, list] of [['listen', ports.inputs], ['drive', ports.outputs],
        ['beTo', ports.outputs], ['beFrom', ports.inputs]]) {
        const box = byId(`midi-${role}`);
        box.replaceChildren(html('option', {value: ''}, 'none'), ...list.map(
            port => html('option', {value: port.id}, port.name ?? port.id)));
        box.value = ports.chosen[role];
        box.onchange = () => ports.choose(role, box.value);
    }
}

byId('midi-ask').addEventListener('click', async () => {
    try {
        await ports.ask(showPorts);
        byId('midi-ports').hidden = false;
        byId('midi-told').textContent = '';
        showPorts();
    } catch (error) {
        byId('midi-told').textContent = error.message;
    }
});
byId('forget').addEventListener('click', () => {
    app.heard = new Heard();
    app.heardStates.clear();
    showStates();
    showHeard();
});

// --- Files ---

function open(map, name, folder = null) {
    Object.assign(app, {files: new Files(map), name, folder, selected: null});
    app.heardStates.clear();
    show();
    text.open(BASE);
}

// A folder, or single files that take the place of those of the same names.
async function take(list, name, folder = null) {
    if (app.files.changed.length > 0 && !confirm('What has changed is not saved. Go on without it?'))
        return;
    const {files, told} = await readAll(list);
    byId('told').replaceChildren(...told.map(one => html('li', {}, one)));
    if (files.size === 0)
        byId('told').append(html('li', {}, 'There is no file of a configuration in it.'));
    else if (name)
        open(files, name, folder);
    else
        open(new Map([...app.files.saved, ...files]), `${app.name} with ${[...files.keys()].join(', ')}`);
}

async function save() {
    try {
        app.folder ??= await window.showDirectoryPicker?.({mode: 'readwrite'}) ?? null;
        if (app.folder && await app.folder.requestPermission?.({mode: 'readwrite'}) === 'denied')
            throw new Error('The browser may not write there.');
        if (app.folder)
            await saveInto(app.folder, app.files);
        else
            download(app.files);
        byId('save-dialog').close();
        showSummary();
    } catch (error) {
        byId('save-told').textContent = error.name === 'AbortError' ? 'Nothing was saved.' : error.message;
    }
}

const folderInput = byId('folder'), filesInput = byId('files-chosen');
folderInput.addEventListener('change', () => take(folderInput.files,
    folderInput.files[0]?.webkitRelativePath.split('/')[0] || 'folder'));
filesInput.addEventListener('change', () => take(filesInput.files, ''));
byId('open-folder').addEventListener('click', async () => {
    if (!window.showDirectoryPicker) {
        folderInput.click();
        return;
    }
    const folder = await showDirectoryPicker({mode: 'readwrite'}).catch(() => null);
    if (folder)
        await take(await filesOfHandle(folder), folder.name, folder);
});
byId('open-files').addEventListener('click', () => filesInput.click());
document.addEventListener('dragover', event => event.preventDefault());
document.addEventListener('drop', async event => {
    event.preventDefault();
    try {
        const {list, folder, name} = await dropped(event.dataTransfer);
        await take(list, name, folder);
    } catch (error) {
        byId('told').replaceChildren(html('li', {},
            `This browser cannot read what was dropped (${error.message}); open it above.`));
    }
});

byId('undo').addEventListener('click', undo);
function undo() {
    app.files.undo();
    show(true);
}
document.addEventListener('keydown', event => {
    if ((event.ctrlKey || event.metaKey) && !event.shiftKey && event.key === 'z' && app.files.canUndo) {
        event.preventDefault();
        undo();
    }
});
byId('save').addEventListener('click', () => {
    const {files} = app;
    byId('differences').replaceChildren(...files.changed.map(
        name => drawDifference(name, files.difference(name))));
    byId('save-told').textContent = '';
    const isIntoFolder = app.folder || 'showDirectoryPicker' in window;
    byId('save-now').textContent = isIntoFolder ? 'Save into the folder' : 'Download';
    byId('save-dialog').showModal();
});
byId('save-now').addEventListener('click', save);
byId('save-download').addEventListener('click', () => {
    download(app.files);
    byId('save-dialog').close();
    showSummary();
});
byId('save-cancel').addEventListener('click', () => byId('save-dialog').close());
window.addEventListener('beforeunload', event => app.files.changed.length > 0 && event.preventDefault());

// --- The rest ---

byId('mode-change').addEventListener('change', () => setMode(false));
byId('mode-play').addEventListener('change', () => setMode(true));
byId('add-preset').addEventListener('click', () => addPreset(app));
byId('color-fore').replaceChildren(...COLOR_NAMES.concat(COLOR_NAMES.map(name => `bright ${name}`))
    .map((name, i) => html('option', {value: i}, name)));
byId('color-back').replaceChildren(...COLOR_NAMES.map((name, i) => html('option', {value: i}, name)));
byId('color-add').addEventListener('click', () => {
    if (byId('color-name').value.trim() !== '')
        addColor(app, byId('color-name').value, Number(byId('color-fore').value), Number(byId('color-back').value));
});
byId('send').addEventListener('click', () => {
    const [number, value] = [byId('send-number'), byId('send-value')].map(
        input => Math.min(Math.max(Math.trunc(Number(input.value)), 0), 127));
    player()?.sendHost([Number(byId('send-kind').value) | player().channel, number, value]);
});
front.addEventListener('click', event => {
    const element = event.target.closest('.c');
    if (!element || app.isPlaying)
        return;
    select(Number(element.dataset.index));
    if (event.detail === 0)  // by a key
        byId('fields').querySelector('input, select')?.focus();
    else if (byId('control').getBoundingClientRect().top > innerHeight)
        byId('control').scrollIntoView({behavior: 'smooth'});
});
byId('change').addEventListener('keydown', event => {
    if (event.key === 'Escape')
        elementOf(front, app.selected)?.focus();
});
const controlAt = element =>
    app.data.controls[(element.closest('.c') ?? element.querySelector('.turn'))?.dataset.index];
handlePlaying(front, () => (app.isPlaying && app.data ? {player: player(), control: controlAt} : null));

async function begin() {
    const packed = JSON.parse(byId('files').textContent), files = new Map();
    for (const [name, content] of Object.entries(packed.files))
        files.set(name, await unpacked(content));
    app.module = await WebAssembly.compile(await unpacked(byId('engine').textContent));
    open(files, packed.directory);
}
begin().catch(error => (byId('trouble').textContent = `The page cannot begin: ${error.message}`));
