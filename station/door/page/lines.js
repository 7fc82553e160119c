// Lines: the bytes of one bus as they pass, with what each piece is.

import {follow} from './api.js';
import {element, oncePerFrame, setText} from './dom.js';
import {listen, store} from './store.js';
import {clockText, zoneText} from './words.js';

/// Kept for searching; of these the newest that match are shown.
const KEPT = 5000;
const SHOWN = 500;

const ARROWS = {
    sent: '→',
    received: '←',
    echoed: '↩',
    discarded: '×'
};

function timeText(time) {
    const date = new Date(time);
    return `${clockText(date)}.${String(date.getMilliseconds()).padStart(3, '0')}`;
}

function textOf({what, bytes, meaning}) {
    return `${what} ${bytes ?? ''} ${meaning ?? ''}`.toLowerCase();
}

function row({time, what, bytes, meaning}) {
    return element(
        'tr', {'data-what': what}, element('td', {}, timeText(Date.parse(time))),
        element('td', {class: 'kind'}, `${ARROWS[what] ?? '·'} ${what}`), element('td', {class: 'bytes'}, bytes ?? ''),
        element('td', {}, meaning ?? ''));
}

export class LinesView {
    constructor(main, [bus]) {
        this.bus = bus ?? store.station?.buses[0]?.bus;
        this.lines = [];
        this.fresh = [];
        this.isStopped = false;
        this.build(main);
        this.end = listen({station: () => this.showBuses()});
        this.paint = oncePerFrame(() => this.update());
        this.showBuses();
    }

    build(main) {
        this.picks = element('nav', {class: 'picks', 'aria-label': 'Buses'});
        this.search = element('input', {
            type: 'search',
            'aria-label': 'Search in bytes and meanings',
            placeholder: 'Search',
            input: () => this.showAll()
        });
        this.stopButton = element('button', {type: 'button', click: () => this.toggle()}, 'Stop');
        this.status = element('p', {class: 'sentence', role: 'status'});
        this.count = element('span', {class: 'when'});
        this.rows = element('tbody');
        const heads =
            [`Time (${zoneText})`, 'What', 'Bytes', 'Meaning'].map(head => element('th', {scope: 'col'}, head));
        this.table = element(
            'div', {class: 'scroll', tabindex: 0, role: 'region', 'aria-label': 'Bytes on the line'},
            element('table', {}, element('thead', {}, element('tr', {}, ...heads)), this.rows));
        main.append(
            element('h1', {}, 'Lines'),
            element('div', {class: 'bar'}, this.picks, this.search, this.stopButton, this.count), this.status,
            this.table);
    }

    close() {
        this.end();
        this.stream?.stop();
    }

    showBuses() {
        const buses = store.station?.buses ?? [];
        this.picks.replaceChildren(...buses.map(
            ({bus}) => element(
                'a', {
                    href: `#/lines/${encodeURIComponent(bus)}`,
                    'aria-current': bus === (this.bus ?? buses[0].bus) ? 'page' : null,
                },
                bus)));
        this.bus ??= buses[0]?.bus;
        if (this.bus && !this.stream) this.begin();
    }

    begin() {
        this.stream = follow(`lines/${encodeURIComponent(this.bus)}`, {
            up: () => setText(this.status, ''),
            down: problem => {
                setText(this.status, `Nothing can be shown of this line: ${problem.message}.`);
                if ([403, 404].includes(problem.status)) this.stream.stop();
            },
            event: (name, line) => {
                if (name !== 'line') return;
                this.fresh.push(line);
                if (this.fresh.length > KEPT) this.fresh.shift();
                if (!this.isStopped) this.paint();
            },
        });
    }

    /// While it is stopped, what passes is kept and comes when it goes on.
    toggle() {
        this.isStopped = !this.isStopped;
        setText(this.stopButton, this.isStopped ? 'Go on' : 'Stop');
        if (!this.isStopped) this.update();
    }

    matches(line) {
        const wanted = this.search.value.trim().toLowerCase();
        return wanted === '' || textOf(line).includes(wanted);
    }

    update() {
        const fresh = this.fresh.splice(0);
        this.lines.push(...fresh);
        if (this.lines.length > KEPT) this.lines.splice(0, this.lines.length - KEPT);
        this.rows.prepend(...fresh.filter(line => this.matches(line)).slice(-SHOWN).reverse().map(row));
        while (this.rows.children.length > SHOWN)
            this.rows.lastElementChild.remove();
        this.showCount();
    }

    showAll() {
        this.found = this.lines.filter(line => this.matches(line));
        this.rows.replaceChildren(...this.found.slice(-SHOWN).reverse().map(row));
        this.showCount();
    }

    showCount() {
        setText(this.count, `${this.rows.children.length} of ${this.lines.length} shown`);
    }
}
