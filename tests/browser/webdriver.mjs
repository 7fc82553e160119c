// Chromium through its driver: the few commands of the WebDriver protocol that the test of the page needs.

import {spawn} from 'node:child_process';
import {createInterface} from 'node:readline';

const FLAGS = [
    '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync'
];
const PATIENCE_MS = 20000;
const PAUSE_MS = 25;

/// Asks `question` until its answer is true to JavaScript, which is returned.
export async function until(what, question) {
    const end = Date.now() + PATIENCE_MS;
    for (;;) {
        const answer = await question();
        if (answer) return answer;
        if (Date.now() > end) throw new Error(`not within ${PATIENCE_MS / 1000} s: ${what}`);
        await new Promise(resume => setTimeout(resume, PAUSE_MS));
    }
}

async function portOf(driver) {
    for await (const line of createInterface({input: driver.stdout})) {
        const [, port] = /successfully on port (\d+)/.exec(line) ?? [];
        if (port) return port;
    }
    throw new Error('chromedriver did not start');
}

export class Browser {
    /// With an empty profile in `folder`, where downloads go, too; pages are opened below `base`.
    static async start(base, folder) {
        const browser = new Browser();
        browser.base = base;
        browser.driver = spawn('chromedriver', ['--port=0'], {stdio: ['ignore', 'pipe', 'ignore']});
        browser.address = `http://127.0.0.1:${await portOf(browser.driver)}/session`;
        const options = {
            binary: '/usr/bin/chromium',
            args: [...FLAGS, `--user-data-dir=${folder}`],
            prefs: {'download.default_directory': folder}
        };
        const capabilities = {alwaysMatch: {'goog:chromeOptions': options, 'goog:loggingPrefs': {browser: 'ALL'}}};
        const {sessionId} = await browser.command('', {capabilities});
        browser.address += `/${sessionId}`;
        return browser;
    }

    async command(path, body, method = 'POST') {
        const response = await fetch(this.address + path, {method, body: body && JSON.stringify(body)});
        const {value} = await response.json();
        if (value?.error) throw new Error(`${path}: ${value.message.split('\n')[0]}`);
        return value;
    }

    async stop() {
        await this.command('', undefined, 'DELETE').catch(() => {});
        this.driver.kill();
    }

    /// Calls a function of the test in the page.
    run(code, ...args) {
        return this.command('/execute/sync', {script: `return (${code})(...arguments)`, args});
    }

    until(what, code, ...args) {
        return until(what, () => this.run(code, ...args));
    }

    devTools(cmd, params) {
        return this.command('/goog/cdp/execute', {cmd, params});
    }

    async open(address) {
        await this.command('/url', {url: 'about:blank'});
        await this.command('/url', {url: new URL(address, this.base).href});
    }

    async element(selector) {
        return Object.values(await this.command('/element', {using: 'css selector', value: selector}))[0];
    }

    async click(selector) {
        await this.command(`/element/${await this.element(selector)}/click`, {});
    }

    async type(selector, text) {
        const element = await this.element(selector);
        await this.command(`/element/${element}/clear`, {});
        await this.command(`/element/${element}/value`, {text});
    }

    /// Presses a key: '\uE004' is Tab, '\uE007' Enter.
    async press(key) {
        const actions = [{type: 'keyDown', value: key}, {type: 'keyUp', value: key}];
        await this.command('/actions', {actions: [{type: 'key', id: 'keyboard', actions}]});
    }

    /// Drags across an element, from and to a share of its width.
    async drag(selector, from, to) {
        const {x, y, width, height} =
            await this.run(found => document.querySelector(found).getBoundingClientRect().toJSON(), selector);
        const at = share => ({type: 'pointerMove', x: Math.round(x + width * share), y: Math.round(y + height / 2)});
        await this.command('/actions', {
            actions: [{
                type: 'pointer',
                id: 'mouse',
                actions: [
                    at(from), {type: 'pointerDown', button: 0}, at((from + to) / 2), at(to),
                    {type: 'pointerUp', button: 0}
                ]
            }]
        });
    }

    async show({width = 1200, height = 800, theme = 'light'}) {
        await this.devTools('Emulation.setDeviceMetricsOverride', {width, height, deviceScaleFactor: 1, mobile: false});
        await this.devTools('Emulation.setEmulatedMedia', {features: [{name: 'prefers-color-scheme', value: theme}]});
    }

    async picture() {
        return Buffer.from(await this.command('/screenshot', undefined, 'GET'), 'base64');
    }

    /// What the page had to complain about since the last call.
    async complaints() {
        const entries = await this.command('/se/log', {type: 'browser'});
        return entries.filter(({level}) => level === 'SEVERE').map(({message}) => message);
    }
}
