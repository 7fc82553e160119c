// Health: what is wrong in sentences, then the figures of every bus and device.

import {ask} from './api.js';
import {arrange, element, setText} from './dom.js';
import {listen, store} from './store.js';
import {ageText, spanText} from './words.js';

const AGAIN_MS = 5000;

const number = (value, digits = 0) => value === null || value === undefined ? '–' : value.toFixed(digits);
const percent = share => share === null || share === undefined ? '–' : `${(share * 100).toFixed(1)} %`;
const seconds = milliseconds => number(milliseconds === null ? null : milliseconds / 1000, 2);

/// Heading, its explanation, and what stands below it.
const COLUMNS = [
    ['Quality', 'of the latest value', device => device.quality],
    ['Good', 'readings with a good value', device => percent(device.recent.readings_good)],
    ['Doubtful', 'readings that may be wrong', device => number(device.recent.readings_doubtful)],
    ['p50 ms', 'half of the answers came within this time', device => number(device.recent.p50_ms, 1)],
    ['p95 ms', '95 % of the answers came within this time', device => number(device.recent.p95_ms, 1)],
    ['max ms', 'the slowest answer', device => number(device.recent.max_ms, 1)],
    ['Time-outs', 'no whole answer came in time', device => number(device.recent.time_outs)],
    ['Bad', 'frames that are none, or the answers of others', device => number(device.recent.bad_frames)],
    ['Checksum', 'answers with a wrong inner checksum', device => number(device.recent.checksum_errors)],
    ['Refused', 'requests that the device refused', device => number(device.recent.refusals)],
    ['Retries', 'requests that were sent again', device => number(device.recent.retries)],
    [
        'Last good', 'since the latest good answer',
        (device, now) => device.last_good ? ageText(now - Date.parse(device.last_good)) : 'never'
    ],
    [
        'Period s', 'asked for / achieved',
        device => `${seconds(device.period_ms)} / ${seconds(device.achieved_period_ms)}`
    ],
];

/// A row for each device; what has changed is written into the cells, so that focus and scrolling stay.
export class Figures {
    constructor() {
        const heads = COLUMNS.map(([head, title]) => element('th', {scope: 'col', title}, head));
        this.rows = element('tbody');
        this.node = element(
            'div', {class: 'scroll', tabindex: 0, role: 'region', 'aria-label': 'Figures'},
            element(
                'table', {class: 'figures'},
                element('thead', {}, element('tr', {}, element('th', {scope: 'col'}, 'Device'), ...heads)), this.rows));
    }

    show(devices, now) {
        const form = JSON.stringify(devices.map(device => [device.id, device.address, device.name]));
        if (form !== this.form) this.rows.replaceChildren(...devices.map(rowOf));
        this.form = form;
        devices.forEach((device, index) => {
            const row = this.rows.children[index];
            row.dataset.quality = device.quality;
            COLUMNS.forEach(([, , text], column) => setText(row.children[column + 1], text(device, now)));
        });
    }
}

function rowOf(device) {
    const link =
        device.id ? element('a', {href: `#/device/${encodeURIComponent(device.id)}`}, device.name) : device.name;
    const name = element('th', {scope: 'row'}, link, element('span', {class: 'where'}, ` ${device.address}`));
    return element('tr', {}, name, ...COLUMNS.map(() => element('td')));
}

export function sentencesOf(findings) {
    return (findings ?? []).map(({sentence}) => sentence);
}

/// Each sentence once; `otherwise` when there is none.
export function showFindings(node, sentences, otherwise = null) {
    const texts = [...new Set(sentences)];
    const form = JSON.stringify(texts);
    if (node.dataset.form === form) return;
    node.dataset.form = form;
    node.replaceChildren(...texts.map(text => element('p', {class: 'finding'}, text)));
    if (texts.length === 0 && otherwise) node.append(element('p', {class: 'sentence'}, otherwise));
}

function busText(bus) {
    const {recent} = bus;
    const readings = `${recent.readings} readings in the last minutes, ${percent(recent.readings_good)} good`;
    // A fleet knows nothing of the lines of its stations.
    if (recent.exchanges === null) return readings;
    return `${readings}; ` +
        `${recent.exchanges} attempts, ${percent(recent.success)} answered well; ` +
        `line used ${percent(bus.load_last_minute)} in the last minute; ` +
        `${recent.stray_bytes} stray bytes; port failed ${bus.port_failures} times`;
}

class BusSection {
    constructor(port) {
        this.findings = element('div');
        this.figures = new Figures();
        this.text = element('p', {class: 'sentence'});
        this.node = element('section', {}, element('h2', {}, port), this.findings, this.figures.node, this.text);
    }

    show(bus, now) {
        const all = [...sentencesOf(bus.diagnosis), ...bus.devices.flatMap(device => sentencesOf(device.diagnosis))];
        showFindings(this.findings, all, 'All is well.');
        this.figures.show(bus.devices, now);
        setText(this.text, busText(bus));
    }
}

export class HealthView {
    constructor(main) {
        this.buses = new Map();
        this.body = element('div');
        this.status = element('p', {class: 'sentence', role: 'status'});
        main.append(
            element('h1', {}, 'Health'), this.status, this.body,
            element('p', {class: 'sentence'}, 'Counts and times are those of the last four to five minutes.'));
        this.end = listen({heard: () => store.isHeard && this.load()});
        this.timer = setInterval(() => document.hidden || this.load(), AGAIN_MS);
        this.load();
    }

    close() {
        this.end();
        clearInterval(this.timer);
    }

    async load() {
        try {
            const {time, buses, history} = await ask('health');
            for (const bus of buses) {
                if (!this.buses.has(bus.port)) this.buses.set(bus.port, new BusSection(bus.port));
                this.buses.get(bus.port).show(bus, Date.parse(time));
            }
            arrange(this.body, buses.map(({port}) => this.buses.get(port).node));
            this.status.textContent = history?.standing_still_ms
                ? `Nothing could be written into the history for ${spanText(history.standing_still_ms)}.`
                : '';
        } catch (problem) {
            this.status.textContent = `Not known: ${problem.message}.`;
        }
    }
}
