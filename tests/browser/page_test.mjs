// The page of a running station in Chromium, behind a proxy that has it in a sub-path.
//
//   node page_test.mjs PROGRAM             runs all cases
//   node page_test.mjs PROGRAM PICTURES    makes the pictures of the documentation in the folder PICTURES

import assert from 'node:assert';
import {spawn} from 'node:child_process';
import {once} from 'node:events';
import fs from 'node:fs';
import http from 'node:http';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import {setTimeout as sleep} from 'node:timers/promises';

import {Browser, until} from './webdriver.mjs';

const [, , program, pictures] = process.argv;
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'nimbo1-page-'));
const inFolder = name => path.join(folder, name);
const SUB_PATH = '/some/where/';
const EVIL = '<img src=x onerror=document.title="bad"><b>Lid</b>';
// What the cases need, and what looks like people's own.
const HOUSE = pictures
    ? {lid: 'Lid', limit: ', high = 5.5, hysteresis = 1.0', cold: 'ramp:2:6:2m', oven: 'ramp:42:58:3m'}
    : {lid: EVIL, limit: '', cold: '4.5', oven: 'ramp:20:24:4s'};

const CELLAR = [`1:sensor=${HOUSE.cold}`, '2:digital=1'];

const children = new Set();

function begin(...args) {
    const child =
        spawn(program, args, {stdio: ['ignore', 'ignore', 'pipe'], env: {...process.env, TZ: 'Europe/Berlin'}});
    child.said = '';
    child.stderr.on('data', text => {
        child.said += text;
    });
    children.add(child);
    child.once('exit', () => children.delete(child));
    return child;
}

const beginStation = () => begin('run', '--config', inFolder('station.toml'), '--data', inFolder('data'), '--quiet');

async function end(child, signal) {
    if (!children.has(child)) return;
    child.kill(signal);
    await once(child, 'exit');
}

async function simulate(name, ...devices) {
    const link = inFolder(name);
    const child = begin('simulate', '--link', link, ...devices.flatMap(device => ['--device', device]));
    await until(`${name} is there`, () => fs.existsSync(link));
    return child;
}

async function freePort() {
    const server = net.createServer().listen(0, '127.0.0.1');
    await once(server, 'listening');
    const {port} = server.address();
    server.close();
    return port;
}

// Its device is not named here, so that it can be renamed.
const ATTIC = pictures ? '' : `
[[bus]]
port = "${inFolder('attic')}"
name = "attic"
every = "200ms"
`;

const CONFIGURATION = port => `
[web]
listen = "127.0.0.1:${port}"
tokens = "${inFolder('tokens')}"
lines = true

[[bus]]
port = "${inFolder('hall')}"
name = "hall"
every = "200ms"
device = [
    {address = 5, model = "sensor", name = "Oven"},
    {address = 6, model = "sensor", name = "Boiler", high = 25.0},
    {address = 7, model = "digital", name = ${JSON.stringify(HOUSE.lid)}},
]

[[bus]]
port = "${inFolder('cellar')}"
name = "cellar"
every = "200ms"
device = [
    {address = 1, model = "sensor", name = "Cold room"${HOUSE.limit}},
    {address = 2, model = "digital", name = "Door"},
]
${ATTIC}`;

/// A proxy as people have one: the station is below SUB_PATH, all else is not found.
async function proxyTo(port) {
    const server = http.createServer((request, response) => {
        if (!request.url.startsWith(SUB_PATH)) {
            response.writeHead(404).end();
            return;
        }
        const {method, headers} = request;
        const target = {
            host: '127.0.0.1',
            port,
            method,
            path: request.url.slice(SUB_PATH.length - 1),
            headers: {...headers, host: `127.0.0.1:${port}`}
        };
        const asked = http.request(target, answer => {
            response.writeHead(answer.statusCode, answer.headers);
            answer.pipe(response);
            answer.on('error', () => response.destroy());
            response.on('close', () => answer.destroy());
        });
        asked.on('error', () => response.headersSent ? response.destroy() : response.writeHead(502).end());
        request.pipe(asked);
    });
    server.listen(0, '127.0.0.1');
    await once(server, 'listening');
    return server;
}

// What the cases look at, as functions that run in the page.

const tileOf = name => {
    const tile =
        [...document.querySelectorAll('.tile')].find(found => found.querySelector('.name').textContent === name);
    return tile && {
        state: tile.dataset.state,
        value: tile.querySelector('.value').textContent,
        note: tile.querySelector('.note').textContent,
        isAmongIll: tile.closest('.ill') !== null,
        address: tile.querySelector('a').getAttribute('href')
    };
};
/// What the keyboard is at.
const focusText = () => document.activeElement?.getAttribute('aria-label') ?? document.activeElement?.textContent ?? '';
const textOf = selector => document.querySelector(selector)?.textContent ?? '';
const isShown = selector => document.querySelector(selector)?.checkVisibility() ?? false;
const count = selector => document.querySelectorAll(selector).length;
const tooWide = () => document.documentElement.scrollWidth - document.documentElement.clientWidth;
const VIEWS = ['#/now', '#/alarms', '#/lines', '#/health', '?wall'];

async function openDevice({browser}, name, span) {
    await browser.open('#/now');
    const {address} = await browser.until(`${name} is there`, tileOf, name);
    await browser.open(`${address}/${span}`);
    await browser.until('the chart is there', isShown, '.plot canvas');
}

const CASES = {
    async 'values change without a reload'({browser}) {
        await browser.open('#/now');
        const first = await browser.until('the oven has a value', tileOf, 'Oven');
        await browser.run(() => {
            globalThis.isSamePage = true;
        });
        await until('it changes', async () => (await browser.run(tileOf, 'Oven')).value !== first.value);
        assert(await browser.run(() => globalThis.isSamePage));
        assert.equal((await browser.run(tileOf, 'Oven')).note, 'now');
    },

    async 'names of markup are text'({browser}) {
        assert((await browser.until('the lid is there', tileOf, EVIL)).value.includes('inputs 0 and 2 on'));
        assert.equal(await browser.run(count, 'main img, main b'), 0);
        assert.notEqual(await browser.run(() => document.title), 'bad');
    },

    async 'devices that die look dead, and come back'({browser, cellar}) {
        cellar.kill('SIGSTOP');
        const dead = await until('it looks dead', async () => {
            const tile = await browser.run(tileOf, 'Cold room');
            return tile.state === 'offline' && tile;
        });
        assert(dead.isAmongIll);
        assert.match(dead.note, /^offline, .+/);
        assert.match(await browser.run(textOf, '.summary'), /not well/);
        cellar.kill('SIGCONT');
        await until('it is well again', async () => (await browser.run(tileOf, 'Cold room')).state === 'good');
    },

    async 'a chart is zoomed by dragging, and back by the way back'({browser}) {
        await openDevice({browser}, 'Cold room', '1h');
        await browser.until(
            'it says what is shown', selector => document.querySelector(selector).textContent.includes('gap'),
            '.readout');
        await browser.drag('.plot', 0.5, 0.75);
        const span = await until('the address has the span', async () => {
            const [from, to] = (await browser.run(() => location.hash)).split('/').slice(-2).map(decodeURIComponent);
            return Date.parse(to) - Date.parse(from);
        });
        assert(span > 10 * 60e3 && span < 20 * 60e3, `a quarter of an hour, not ${span} ms`);
        await browser.run(() => history.back());
        await browser.until('the hour is back', isShown, '.picks [data-word="1h"][aria-current]');
    },

    async 'a device has its facts, figures and lanes'({browser}) {
        await openDevice({browser}, EVIL, '1h');
        assert.equal(await browser.run(textOf, 'h1'), EVIL);
        assert.match(await browser.run(textOf, '.facts'), /address 7 on hall/);
        await browser.until('it has figures', isShown, '.figures td');
        await browser.until(
            'it says the inputs', found => /inputs 0 and 2/.test(document.querySelector(found).textContent),
            '.readout');
    },

    async 'the lines show bytes, stop and are searched'({browser}) {
        await browser.open('#/lines/hall');
        await browser.until('bytes are there', isShown, '.lines tbody tr:nth-child(5)');
        await browser.click('.bar button');
        const before = await browser.run(textOf, '.lines tbody');
        await browser.type('.bar input', 'no such bytes');
        await browser.until(
            'nothing matches', selector => document.querySelector(selector).children.length === 0, '.lines tbody');
        await browser.type('.bar input', ' ');
        assert.equal(await browser.run(textOf, '.lines tbody'), before);
    },

    async 'an alarm is acknowledged, and not with a wrong token'({browser, token}) {
        await browser.open('#/alarms');
        await browser.until('it is on', isShown, '.alarm[data-state="on"] button');
        await browser.click('.alarm[data-state="on"] button');
        await browser.type('dialog [name=by]', 'Ann <b>');
        await browser.type('dialog [name=comment]', 'on my way');
        await browser.type('dialog [name=token]', 'a wrong one');
        await browser.click('dialog .main');
        await browser.until(
            'it is refused', found => /not know this token/.test(document.querySelector(found).textContent),
            'dialog .problem');
        await browser.type('dialog [name=token]', token);
        await browser.click('dialog .main');
        await browser.until('it is taken', isShown, '.alarm[data-state="on"][data-acknowledged="yes"]');
        assert.match(await browser.run(textOf, '.alarm .words'), /^acknowledged by Ann <b> at .*: on my way$/);
        assert.equal(await browser.run(() => localStorage.length), 0);
    },

    async 'a device is read at once and renamed, and says what keeps it from that'({browser, token}) {
        await browser.run(() => sessionStorage.clear());
        await openDevice({browser}, 'Attic', '1h');
        await browser.click('.actions .read');
        await browser.type('dialog [name=token]', token);
        await browser.click('dialog .main');
        await browser.until(
            'it is read', () => /^Read at .*: 12.50 °C$/.test(document.querySelector('.told').textContent));
        await browser.until('the token is kept', found => !document.querySelector(found), 'dialog');
        await until('it needs no token any more', async () => {
            await browser.click('.actions .rename');
            if (!await browser.run(isShown, 'dialog [name=token]')) return true;
            await browser.click('dialog [type=button]');
            return false;
        });
        await browser.type('dialog [name=name]', EVIL);
        await browser.click('dialog .main');
        await browser.until('it has its name', name => document.querySelector('h1').textContent === name, EVIL);
        await openDevice({browser}, 'Oven', '1h');
        await browser.click('.actions .rename');
        await browser.type('dialog [name=name]', 'Stove');
        await browser.click('dialog .main');
        await browser.until(
            'it is refused', found => /named in the configuration file/.test(document.querySelector(found).textContent),
            'dialog .problem');
    },

    async 'the readings of the time shown are saved as a file'({browser}) {
        for (const step of ['with a token', 'without']) {
            await openDevice({browser}, 'Oven', '1h');
            const [, , id] = (await browser.run(() => location.hash)).split('/');
            const file = inFolder(`profile/${id}.csv`);
            await browser.click('.csv');
            await until(
                `it is there, ${step}`, () => fs.existsSync(file) && fs.readFileSync(file, 'utf8').length > 200);
            assert.match(
                fs.readFileSync(file, 'utf8'), /^time,port,address,name,variable,value,quality,.*\n.*,hall,5,Oven,/);
            fs.rmSync(file);
            await browser.run(() => sessionStorage.clear());
        }
    },

    async 'the keyboard leads everywhere'({browser}) {
        const [TAB, ENTER] = ['\uE004', '\uE007'];
        const reach = async (what, text) => {
            for (let tries = 0; tries < 60; ++tries) {
                await browser.press(TAB);
                if (text.test(await browser.run(focusText))) return;
            }
            assert.fail(`${what} is not reached`);
        };
        await browser.open('#/now');
        await browser.until('the oven is there', tileOf, 'Oven');
        await reach('the way past the navigation', /^To the content$/);
        await reach('the oven', /^Oven/);
        await browser.press(ENTER);
        await browser.until('the chart is there', isShown, '.plot canvas');
        const before = await browser.run(() => location.hash);
        await reach('zooming', /^Zoom in$/i);
        await browser.press(ENTER);
        await browser.until('it is zoomed', hash => location.hash !== hash, before);
        await reach('the alarms', /^Alarms/);
        await browser.press(ENTER);
        await browser.until('the alarms are there', isShown, '.alarm');
    },

    async 'the wall has names, values and ages, and nothing else'({browser}) {
        await browser.open('?wall');
        await browser.until('the oven is there', tileOf, 'Oven');
        assert.equal(await browser.run(isShown, 'nav a'), false);
        const tile = await browser.run(tileOf, 'Oven');
        assert.match(tile.value, /^\d+\.\d/);
        assert.equal(tile.note, 'now');
        const used = () => {
            const {right, bottom} = document.querySelector('main ul').getBoundingClientRect();
            return [right / innerWidth, bottom / innerHeight];
        };
        assert((await browser.run(used)).every(share => share > 0.9 && share <= 1.001), 'it fills the screen');
    },

    async 'a station that is killed is said to be lost, and comes back by itself'(world) {
        const {browser} = world;
        await browser.open('#/now');
        await browser.until('the oven is there', tileOf, 'Oven');
        await end(world.station, 'SIGKILL');
        await browser.until('the page says so', isShown, '.link');
        assert.match(await browser.run(textOf, '.link'), /cannot be reached since/);
        assert(await browser.run(() => document.body.classList.contains('lost')));
        world.station = beginStation();
        await until('it is back', async () => !await browser.run(isShown, '.link'));
        const {value} = await browser.run(tileOf, 'Oven');
        await until('values go on', async () => (await browser.run(tileOf, 'Oven')).value !== value);
    },

    async 'nothing is wider than a phone'({browser}) {
        await browser.show({width: 360, height: 740});
        for (const view of VIEWS) {
            await browser.open(view);
            await browser.until(`${view} is there`, isShown, '.tile, .alarm, .figures, .picks a');
            assert.equal(await browser.run(tooWide), 0, view);
        }
        await openDevice({browser}, 'Oven', '1h');
        assert.equal(await browser.run(tooWide), 0);
        await browser.show({});
    },

    async 'it is dark in the dark'({browser}) {
        const ground = () => getComputedStyle(document.documentElement).backgroundColor.match(/\d+/g).map(Number);
        for (const [theme, isRight] of [['light', colour => colour > 200], ['dark', colour => colour < 50]]) {
            await browser.show({theme});
            await browser.open('#/now');
            assert((await browser.run(ground)).every(isRight), theme);
        }
        await browser.show({});
    },

    async 'the first picture is painted soon'({browser}) {
        await browser.open('#/now');
        const paint = await browser.until(
            'it is painted', () => performance.getEntriesByName('first-contentful-paint')[0]?.startTime);
        console.log(`#   after ${Math.round(paint)} ms`);
    },
};

async function start() {
    const world = {token: 'a-token-that-may-change-things-0001', port: await freePort()};
    fs.writeFileSync(inFolder('tokens'), `change ${world.token}\n`, {mode: 0o600});
    fs.writeFileSync(inFolder('station.toml'), CONFIGURATION(world.port));
    world.hall = await simulate('hall', `5:sensor=${HOUSE.oven}`, '6:sensor=26.5', '7:digital=5');
    world.cellar = await simulate('cellar', ...CELLAR);
    if (ATTIC) {
        await simulate('attic', '3:sensor=12.5');
        const data = ['--data', inFolder('data'), '--port', inFolder('attic')];
        await once(begin('devices', 'add', '3:sensor:Attic', ...data), 'exit');
    }
    world.station = beginStation();
    world.proxy = await proxyTo(world.port);
    const base = `http://127.0.0.1:${world.proxy.address().port}${SUB_PATH}`;
    await until('the station answers', () => fetch(`${base}api/v1/station`).then(({ok}) => ok, () => false));
    world.browser = await Browser.start(base, inFolder('profile'));
    await world.browser.show({});
    return world;
}

async function stop(world) {
    await world.browser?.stop();
    world.proxy?.closeAllConnections();
    world.proxy?.close();
    await Promise.all([...children].map(child => end(child, 'SIGKILL')));
    fs.rmSync(folder, {recursive: true, force: true, maxRetries: 5});
}

/// A browser complains of what it could not load: that the station was killed, or refuses, is meant.
const isExpected = complaint => /status of (401|409|502)|ERR_INCOMPLETE_CHUNKED/.test(complaint);

async function runCases(world) {
    let failed = 0;
    for (const [name, run] of Object.entries(CASES)) {
        const started = Date.now();
        const problem = await run(world).then(() => null, error => error);
        const complaints = (await world.browser.complaints()).filter(complaint => !isExpected(complaint));
        const isGood = !problem && complaints.length === 0;
        console.log(`${isGood ? 'ok' : 'not ok'} - ${name} (${Date.now() - started} ms)`);
        if (!isGood) console.log([problem?.message ?? '', ...complaints].join('\n#   '));
        failed += isGood ? 0 : 1;
    }
    if (failed > 0) console.log(`# what the station said:\n${world.station.said}`);
    return failed;
}

const MINUTE = 60e3;
const PICTURES = [
    {file: 'now.png', view: '#/now', width: 1100, height: 720, theme: 'light'},
    {file: 'device.png', device: 'Cold room', width: 1100, height: 760, theme: 'dark'},
    {file: 'wall.png', view: '?wall', width: 800, height: 450, theme: 'light'},
];

/// Of a station that has run for ten minutes, but for one.
async function takePictures(world) {
    const {browser} = world;
    await sleep(5 * MINUTE);
    await end(world.station, 'SIGTERM');
    await sleep(MINUTE);
    world.station = beginStation();
    await sleep(4 * MINUTE);
    for (const {file, view, device, width, height, theme} of PICTURES) {
        await browser.show({width, height, theme});
        const times = [Date.now() - 10 * MINUTE, Date.now()].map(time => new Date(time).toISOString()).join('/');
        if (device) await openDevice({browser}, device, times);
        await browser.open(view ?? await browser.run(() => location.hash));
        await browser.until('it is there', isShown, device ? '.figures td' : '.tile');
        await browser.until('nothing is awaited', () => !document.querySelector('[aria-busy]'));
        await sleep(MINUTE / 60);
        fs.writeFileSync(path.join(pictures, file), await browser.picture());
    }
    return 0;
}

const world = {};
let status = 1;
try {
    Object.assign(world, await start());
    status = await (pictures ? takePictures : runCases)(world) === 0 ? 0 : 1;
} finally {
    await stop(world);
}
process.exit(status);
