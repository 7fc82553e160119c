// Alarms: those that are on, then those that were, the newest first.

import {AlarmRows} from './alarm_row.js';
import {ask} from './api.js';
import {arrange, element} from './dom.js';
import {listen, store} from './store.js';
import {zoneText} from './words.js';

const PAGE = 50;
const AGAIN_MS = 30000;

export class AlarmsView {
    constructor(main) {
        this.on = element('ul', {class: 'alarms'});
        this.onRows = new AlarmRows();
        this.past = element('ul', {class: 'alarms'});
        this.pastRows = new AlarmRows();
        this.none = element('p', {class: 'sentence'});
        this.pastNone = element('p', {class: 'sentence', role: 'status'});
        this.more = element('button', {type: 'button', hidden: true, click: () => this.loadMore()}, 'Older ones');
        main.append(
            element('h1', {}, 'Alarms'), this.none, this.on, element('h2', {}, `Past alarms (${zoneText})`), this.past,
            this.pastNone, this.more);
        this.end = listen({alarms: () => this.show(), heard: () => store.isHeard && this.loadPast()});
        this.timer = setInterval(() => document.hidden || this.show(), AGAIN_MS);
        this.alarms = [];
        this.show();
    }

    close() {
        this.end();
        clearInterval(this.timer);
    }

    show() {
        arrange(this.on, this.onRows.of(store.alarms));
        this.none.textContent = store.alarms.length === 0 && store.station ? 'No alarm is on.' : '';
        this.loadPast();
    }

    /// The first page anew: an alarm may have ended, or been acknowledged.
    async loadPast() {
        await this.load(`alarms?state=over&limit=${Math.max(PAGE, this.alarms.length)}`, []);
    }

    async loadMore() {
        await this.load(`alarms?state=over&limit=${PAGE}&offset=${this.alarms.length}`, this.alarms);
    }

    async load(path, before) {
        try {
            const page = await ask(path);
            this.alarms = [...before, ...page.alarms];
            arrange(this.past, this.pastRows.of(this.alarms));
            this.more.hidden = page.next === null;
            this.pastNone.textContent = this.alarms.length === 0 ? 'There were none.' : '';
        } catch (problem) {
            if (this.alarms.length === 0) this.pastNone.textContent = `Past alarms are not known: ${problem.message}.`;
        }
    }
}
