// A browser by its driver, over HTTP.
import {spawn} from 'node:child_process';
import {mkdtempSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';

const OPTIONS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync', '--hide-scrollbars'];
const ELEMENT = 'element-6066-11e4-a52e-4f735466cecf';

export async function openBrowser(downloads) {
    const profile = mkdtempSync(join(tmpdir(), 'page-'));
    const driver = spawn('chromedriver', ['--port=0'], {stdio: ['ignore', 'pipe', 'inherit']});
    const port = await new Promise((done, fail) => {
        let said = '';
        driver.stdout.on('data', data => {
            said += data;
            const found = /started successfully on port (\d+)/.exec(said);
            if (found)
                done(found[1]);
        });
        driver.on('exit', () => fail(new Error(`chromedriver: ${said}`)));
    });
    const call = async (method, path, body) => {
        const answer = await fetch(`http://127.0.0.1:${port}${path}`, {method, body: JSON.stringify(body)});
        const {value} = await answer.json();
        if (!answer.ok)
            throw new Error(`${path}: ${value.message}`);
        return value;
    };
    const {sessionId} = await call('POST', '/session', {capabilities: {alwaysMatch: {
        'goog:chromeOptions': {args: [...OPTIONS, `--user-data-dir=${profile}`],
            prefs: {'download.default_directory': downloads,
                'profile.default_content_setting_values.automatic_downloads': 1}},
        'goog:loggingPrefs': {browser: 'ALL'}, unhandledPromptBehavior: 'accept'}}});
    const post = (path, body = {}) => call('POST', `/session/${sessionId}${path}`, body);

    const write = async (path, command, params) =>
        writeFileSync(path, Buffer.from((await browser.cdp(command, params)).data, 'base64'));

    const browser = {
        // Runs a function in the page; it may be asynchronous.
        run: (what, ...args) => post('/execute/sync', {script: `return (${what})(...arguments)`, args}),
        cdp: (cmd, params = {}) => post('/goog/cdp/execute', {cmd, params}),
        open: url => post('/url', {url}),
        element: async selector => (await post('/element', {using: 'css selector', value: selector}))[ELEMENT],
        click: async selector => post(`/element/${await browser.element(selector)}/click`),
        type: async (selector, text) => post(`/element/${await browser.element(selector)}/value`, {text}),
        // Keys at what has the focus; '\uE004' is Tab, '\uE007' Enter and so on.
        keys: text => post('/actions', {actions: [{type: 'key', id: 'keys', actions: [...text].flatMap(
            value => [{type: 'keyDown', value}, {type: 'keyUp', value}])}]}),
        actions: actions => post('/actions', {actions}),
        size: (width, height) => browser.cdp('Emulation.setDeviceMetricsOverride',
            {width, height, deviceScaleFactor: 1, mobile: false}),
        scheme: value => browser.cdp('Emulation.setEmulatedMedia', {features: [{name: 'prefers-color-scheme', value}]}),
        picture: path => write(path, 'Page.captureScreenshot', {captureBeyondViewport: true}),
        print: path => write(path, 'Page.printToPDF', {preferCSSPageSize: true, printBackground: false}),
        // What the page has written to the console: errors, and refusals of its policy.
        said: () => post('/se/log', {type: 'browser'}),
        close: async () => {
            await call('DELETE', `/session/${sessionId}`);
            driver.removeAllListeners('exit');
            driver.kill();
            rmSync(profile, {recursive: true, force: true, maxRetries: 5, retryDelay: 200});
        },
    };
    return browser;
}
