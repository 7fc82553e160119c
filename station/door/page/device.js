// One device: how it is, the chart of its history, its alarms and gaps, and its health.

import {AlarmRows} from './alarm_row.js';
import {ask, download} from './api.js';
import {Chart} from './chart.js';
import {DeviceActions} from './device_actions.js';
import {arrange, element, setText} from './dom.js';
import {Figures, sentencesOf, showFindings} from './health.js';
import {addressOf, limitsOf, MOVES, queryOf, sensibleSpan, spanOf, SPANS} from './span.js';
import {illnessOf, listen, stationNow, store} from './store.js';
import {ILLNESS_NAMES, noteOf, Value} from './tile.js';
import {inputTimeText, rangeText, zoneText} from './words.js';

const AGAIN_MS = 5000;
const GAPS_SHOWN = 100;

export class DeviceView {
    constructor(main, [key, ...words]) {
        this.key = key;
        this.main = main;
        this.span = spanOf(words);
        this.home = this.span.word ?? SPANS[0].word;
        this.build();
        this.end = listen({
            reading: changed => changed === this.key && this.showValue(),
            devices: () => this.showDevice(),
            alarms: () => this.showValue(),
            heard: () => store.isHeard && this.load(),
        });
        this.timers = [setInterval(() => this.tick(), 1000), setInterval(() => this.refresh(), AGAIN_MS)];
        this.showDevice();
        this.load();
    }

    close() {
        this.isClosed = true;
        this.end();
        this.asking?.abort();
        this.timers.forEach(clearInterval);
        this.chart.close();
    }

    /// Another span of the same device.
    go([, ...words]) {
        this.span = spanOf(words);
        if (this.span.word) this.home = this.span.word;
        this.load();
    }

    get device() {
        return store.devices.get(this.key);
    }

    build() {
        this.name = element('h1');
        this.facts = element('p', {class: 'facts'});
        this.head = element('div', {class: 'now-value'});
        this.note = element('p', {class: 'note'});
        this.findings = element('div');
        this.plot = element('div', {class: 'plot', role: 'img'});
        this.readout = element('p', {class: 'readout'});
        this.problem = element('p', {class: 'problem', role: 'status'});
        this.actions = new DeviceActions(() => this.device);
        this.alarms = element('ul', {class: 'alarms'});
        this.alarmRows = new AlarmRows();
        this.gaps = element('div');
        this.figures = new Figures();
        this.main.append(
            this.name, this.facts, this.head, this.note, this.actions.node, this.findings, this.bar(), this.plot,
            this.readout, this.problem, this.alarms, this.gaps, element('h2', {}, 'Health, of the last minutes'),
            this.figures.node);
        this.chart = new Chart(this.plot, this.readout, {
            zoomed: (from, to) => this.visit(sensibleSpan(from, to, stationNow())),
            widened: () => this.visit({word: this.home}),
        });
    }

    bar() {
        this.picks =
            SPANS.map(({word, name}) => element('a', {href: addressOf(this.key, {word}), 'data-word': word}, name));
        const moves = MOVES.map(
            ({name, sign, move}) => element(
                'button', {type: 'button', title: name, 'aria-label': name, click: () => this.move(move)}, sign));
        const time = label =>
            element('input', {type: 'datetime-local', required: true, 'aria-label': `${label} (${zoneText})`});
        this.from = time('From');
        this.to = time('To');
        const submit = event => {
            event.preventDefault();
            this.visit(sensibleSpan(...[this.from, this.to].map(({value}) => new Date(value).getTime()), stationNow()));
        };
        const any = element(
            'form', {class: 'any', submit}, this.from, element('span', {}, 'to'), this.to,
            element('button', {}, 'Show'));
        const csv = element('button', {type: 'button', class: 'csv', click: () => this.saveCsv()}, 'Download CSV');
        return element(
            'div', {class: 'bar'}, element('nav', {class: 'picks', 'aria-label': 'Time shown'}, ...this.picks),
            element('span', {class: 'moves'}, ...moves), any, csv);
    }

    /// Through the address, so that the browser's way back leads back.
    visit(span) {
        location.hash = addressOf(this.key, span);
    }

    move(move) {
        this.visit(sensibleSpan(...move(...limitsOf(this.span, stationNow())), stationNow()));
    }

    async saveCsv() {
        const path = `history.csv?device=${encodeURIComponent(this.key)}&${queryOf(this.span)}`;
        await download(path, `${this.key}.csv`).catch(problem => this.say(`No CSV: ${problem.message}.`));
    }

    say(text) {
        setText(this.problem, text);
    }

    showDevice() {
        const {device} = this;
        if (!device) {
            if (store.station) setText(this.name, `There is no device ${this.key}`);
            return;
        }
        setText(this.name, device.name);
        const limits = [['low', 'below'], ['high', 'above']]
                           .filter(([limit]) => typeof device.limits?.[limit] === 'number')
                           .map(([limit, word]) => `alarm ${word} ${device.limits[limit]} °C`);
        const facts = [
            `address ${device.address} on ${device.bus}`, `id ${device.id}`, `read every ${device.period_ms / 1000} s`,
            ...limits
        ];
        setText(this.facts, facts.join(' · '));
        if (!this.value) {
            this.value = new Value(device.variable);
            this.head.append(this.value.node);
        }
        this.showValue();
        if (!this.history) this.load();
    }

    showValue() {
        if (!this.value) return;
        const reading = store.readings.get(this.key);
        this.value.show(reading);
        this.head.dataset.state = ILLNESS_NAMES[illnessOf(this.key)];
        this.head.dataset.quality = this.note.dataset.quality = reading?.quality ?? 'offline';
        const error = reading?.error?.text;
        setText(this.note, error ? `${noteOf(this.key)}: ${error}` : noteOf(this.key));
    }

    tick() {
        if (!document.hidden) this.showValue();
    }

    /// The end of a chart that ends now moves on; slowly when its slices are long.
    refresh() {
        const due = this.loadedAt + Math.max(AGAIN_MS, this.history?.slice_ms ?? 0) - 100;
        if (!document.hidden && store.isHeard && this.span.word && !(Date.now() < due))
            this.load();
        else if (!document.hidden && store.isHeard)
            this.loadHealth();
    }

    async load() {
        for (const pick of this.picks) {
            if (pick.dataset.word === this.span.word)
                pick.setAttribute('aria-current', 'true');
            else
                pick.removeAttribute('aria-current');
        }
        const limits = limitsOf(this.span, stationNow());
        if (![this.from, this.to].includes(document.activeElement)) {
            [this.from.value, this.to.value] = limits.map(inputTimeText);
        }
        if (!this.device) return;
        await Promise.all([this.loadHistory(limits), this.loadHealth()]);
    }

    async loadHistory(limits) {
        this.asking?.abort();
        const asking = this.asking = new AbortController();
        const count = Math.round(Math.min(Math.max(this.plot.clientWidth / 2, 100), 1000));
        const path = `history?device=${encodeURIComponent(this.key)}&${queryOf(this.span)}&points=${count}`;
        this.plot.setAttribute('aria-busy', 'true');
        try {
            const history = await ask(path, {signal: asking.signal});
            if (this.isClosed) return;
            this.history = history;
            this.loadedAt = Date.now();
            await this.chart.show(history, this.device, limits);
            arrange(this.alarms, this.alarmRows.of(history.alarms));
            this.showGaps(history.gaps);
            this.say('');
        } catch (problem) {
            if (problem.name !== 'AbortError') this.say(`No chart: ${problem.message}.`);
        } finally {
            if (asking === this.asking) this.plot.removeAttribute('aria-busy');
        }
    }

    showGaps(gaps) {
        const form = JSON.stringify(gaps);
        if (form === this.gapsShown) return;
        this.gapsShown = form;
        const isOpen = this.gaps.querySelector('details')?.open;
        const rows = gaps.slice(-GAPS_SHOWN)
                         .reverse()
                         .map(
                             ({from, to, reason}) =>
                                 element('li', {}, `${rangeText(Date.parse(from), Date.parse(to))}: ${reason}`));
        const title = `${gaps.length} gap${gaps.length === 1 ? '' : 's'} without values`;
        this.gaps.replaceChildren(...(gaps.length === 0 ? [] : [
            element('details', {open: isOpen}, element('summary', {}, title), element('ul', {class: 'gaps'}, ...rows))
        ]));
    }

    async loadHealth() {
        const health = await ask(`health?device=${encodeURIComponent(this.key)}`).catch(() => null);
        const bus = health?.buses.find(({port}) => port === this.device?.bus);
        const own = bus?.devices.filter(({address}) => address === this.device.address) ?? [];
        if (this.isClosed || own.length === 0) return;
        const findings = [
            ...(bus.diagnosis ?? []).filter(({address}) => [0, this.device.address].includes(address)),
            ...own[0].diagnosis ?? []
        ];
        showFindings(this.findings, sentencesOf(findings));
        this.figures.show(own, Date.parse(health.time));
    }
}
