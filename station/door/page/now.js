// Now: alarms on top, then what is not well, then every bus with its devices.

import {AlarmRows} from './alarm_row.js';
import {arrange, element, setText} from './dom.js';
import {illnessOf, listen, stationNow, store} from './store.js';
import {Tile} from './tile.js';
import {TileView} from './tile_view.js';

/// How often trends move on, and the time that an alarm has lasted.
const REFRESH_MS = 10000;
/// How many devices' histories are asked for at a time.
const SEEDS_AT_ONCE = 2;

/// "2 of 5 devices"; empty for none.
function countText(count, all, what) {
    const plural = what === 'bus' ? 'buses' : `${what}s`;
    return count === 0 ? '' : `${count} of ${all} ${all === 1 ? what : plural}`;
}

class Section {
    constructor(className, title) {
        this.title = element('h2', {}, title);
        this.sentence = element('p', {class: 'finding', hidden: true});
        this.list = element('ul', {class: 'tiles'});
        this.node = element('section', {class: className}, this.title, this.sentence, this.list);
    }

    say(sentence) {
        setText(this.sentence, sentence ?? '');
        this.sentence.hidden = !sentence;
    }
}

export class NowView extends TileView {
    constructor(main) {
        super();
        this.main = main;
        this.buses = new Map();
        this.summary = element('h1', {class: 'summary'});
        this.alarms = element('ul', {class: 'alarms', 'aria-label': 'Alarms'});
        this.alarmRows = new AlarmRows();
        this.ill = new Section('ill', 'Not well');
        this.body = element('div');
        main.append(this.summary, this.alarms, this.body);
        this.end = listen({
            reading: key => this.take(key),
            devices: () => this.rebuild(),
            alarms: () => this.showAlarms(),
            station: () => this.showSentences(),
        });
        this.timers = [setInterval(() => this.tick(), 1000), setInterval(() => this.refresh(), REFRESH_MS)];
        this.rebuild();
        this.showAlarms();
    }

    close() {
        this.end();
        this.timers.forEach(clearInterval);
        this.isClosed = true;
    }

    rebuild() {
        for (const [key, tile] of this.tiles) {
            if (JSON.stringify(store.devices.get(key)) !== JSON.stringify(tile.device)) this.tiles.delete(key);
        }
        for (const [key, device] of store.devices) {
            if (!this.tiles.has(key)) this.tiles.set(key, new Tile(key, device));
            if (!this.buses.has(device.bus)) this.buses.set(device.bus, new Section('bus', device.bus));
        }
        this.place();
        this.showSentences();
        this.drawTrends();
        this.seed();
    }

    async seed() {
        const devices = [...store.devices];
        const work = async () => {
            for (let next = devices.shift(); next && store.isHeard && !this.isClosed; next = devices.shift()) {
                const [key, device] = next;
                const trend = store.trends.get(key);
                if (!trend || trend.isSeeded) continue;
                await trend.seed(device).catch(() => {});
                this.tiles.get(key)?.drawTrend(stationNow());
            }
        };
        await Promise.all([...Array(SEEDS_AT_ONCE)].map(work));
    }

    /// Puts tiles into their lists; does nothing when all are where they belong.
    place() {
        const now = Date.now();
        const ill = [];
        const well = new Map([...this.buses.keys()].map(bus => [bus, []]));
        for (const [key, tile] of this.tiles) {
            if (!store.devices.has(key)) continue;
            if (this.isIll(key, now))
                ill.push(tile);
            else
                well.get(tile.device.bus)?.push(tile);
        }
        ill.sort((a, b) => illnessOf(b.key) - illnessOf(a.key));
        const order = [ill, ...well.values()].map(tiles => tiles.map(tile => tile.key).join(' ')).join('\n');
        this.showSummary();
        if (order === this.placed) return;
        this.placed = order;
        arrange(this.ill.list, ill.map(tile => tile.node));
        for (const [bus, tiles] of well)
            arrange(this.buses.get(bus).list, tiles.map(tile => tile.node));
        const sections = [...this.buses].filter(([bus]) => well.get(bus).length > 0 || this.sentenceOf(bus));
        arrange(
            this.body, [...(ill.length > 0 ? [this.ill.node] : []), ...sections.map(([, section]) => section.node)]);
    }

    sentenceOf(bus) {
        return store.station?.buses.find(known => known.bus === bus)?.sentence ?? null;
    }

    showSentences() {
        for (const [bus, section] of this.buses)
            section.say(this.sentenceOf(bus));
        this.placed = null;
        this.place();
    }

    showSummary() {
        const devices = [...store.devices.keys()];
        const buses = store.station?.buses ?? [];
        const ill = [
            countText(devices.filter(key => illnessOf(key) > 0).length, devices.length, 'device'),
            countText(buses.filter(({sentence}) => sentence).length, buses.length, 'bus'),
        ].filter(text => text !== '');
        let text = ill.length > 0 ? `${ill.join(' and ')} not well` : `All is well, ${devices.length} devices`;
        if (devices.length === 0) text = store.isLoaded ? 'No devices yet' : '';
        setText(this.summary, text);
    }

    showAlarms() {
        arrange(this.alarms, this.alarmRows.of(store.alarms));
        this.alarms.hidden = store.alarms.length === 0;
        this.updateAll();
    }

    refresh() {
        if (document.hidden) return;
        this.showAlarms();
        this.drawTrends();
    }

    drawTrends() {
        const now = stationNow();
        for (const tile of this.tiles.values())
            tile.drawTrend(now);
    }
}
