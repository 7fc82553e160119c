// One device on the page Now and on the wall: made once, then only what has changed is touched.

import {element, setText} from './dom.js';
import {ageOf, alarmOf, illnessOf, store} from './store.js';
import {TREND_BOX} from './trend.js';
import {ageText, INPUTS, inputsText, isOn, qualityText, shownValue, unitOf, valueText} from './words.js';

const SVG = 'http://www.w3.org/2000/svg';
export const ILLNESS_NAMES = ['good', 'doubtful', 'stale', 'offline', 'alarm'];

/// Eight small squares; filled is on. For a screen reader the inputs that are on are said.
export class Inputs {
    constructor() {
        this.squares = [...Array(INPUTS).keys()].map(() => element('i'));
        this.said = element('span', {class: 'unseen'});
        this.node = element('span', {class: 'inputs'}, ...this.squares, this.said);
    }

    show(value) {
        if (value === this.shown) return;
        this.shown = value;
        this.squares.forEach((square, input) => square.classList.toggle('on', value !== null && isOn(value, input)));
        setText(this.said, value === null ? 'no value' : inputsText(value));
        this.node.title = this.said.textContent;
    }
}

/// A value with its unit, or eight inputs.
export class Value {
    constructor(variable, digits = 2) {
        this.variable = variable;
        this.digits = digits;
        this.node = element('span', {class: 'value'});
        if (variable === 'inputs') {
            this.inputs = new Inputs();
            this.node.append(this.inputs.node);
        } else {
            this.number = document.createTextNode('–');
            this.node.append(this.number, element('small', {}, ` ${unitOf(variable)}`));
        }
    }

    show(reading) {
        const value = shownValue(reading);
        if (this.inputs)
            this.inputs.show(value);
        else
            setText(this.number, valueText(this.variable, value, this.digits));
    }
}

/// "offline, 3 min ago"; of an alarm its text.
export function noteOf(key) {
    const reading = store.readings.get(key);
    const age = ageOf(reading);
    const quality = qualityText(reading);
    const parts = [quality, age === null ? '' : ageText(age)].filter(part => part !== '');
    return parts.join(', ');
}

export class Tile {
    constructor(key, device, {digits = 2, showsTrend = true} = {}) {
        this.key = key;
        this.device = device;
        this.value = new Value(device.variable, digits);
        this.note = element('span', {class: 'note'});
        this.alarm = element('span', {class: 'why'});
        const where =
            element('span', {class: 'where'}, element('span', {class: 'of'}, `${device.bus} `), String(device.address));
        where.title = `address ${device.address} on ${device.bus}`;
        const name = element('span', {class: 'name'}, device.name);
        this.link = element(
            'a', {href: `#/device/${encodeURIComponent(key)}`}, element('span', {class: 'head'}, name, where),
            this.value.node, this.alarm, this.note);
        if (showsTrend) this.link.insertBefore(this.trend(), this.alarm);
        this.node = element('li', {class: 'tile'}, this.link);
        this.update();
    }

    trend() {
        const picture = document.createElementNS(SVG, 'svg');
        this.path = document.createElementNS(SVG, 'path');
        picture.setAttribute('viewBox', TREND_BOX);
        picture.setAttribute('class', `trend ${this.device.variable}`);
        picture.setAttribute('preserveAspectRatio', 'none');
        picture.setAttribute('aria-hidden', 'true');
        picture.append(this.path);
        return picture;
    }

    /// The value and how well it is.
    update() {
        const reading = store.readings.get(this.key);
        this.value.show(reading);
        const state = ILLNESS_NAMES[illnessOf(this.key)];
        if (this.node.dataset.state !== state) this.node.dataset.state = state;
        const quality = reading?.quality ?? 'offline';
        if (this.node.dataset.quality !== quality) this.node.dataset.quality = quality;
        setText(this.alarm, alarmOf(this.key)?.text ?? '');
        this.grow();
    }

    /// Its age alone, once a second.
    grow() {
        setText(this.note, noteOf(this.key));
        const reading = store.readings.get(this.key);
        if (reading && reading.time !== this.titled) {
            this.titled = reading.time;
            if (reading.quality !== 'good')
                this.note.title = reading.error?.text ?? '';
            else if (this.note.title)
                this.note.title = '';
        }
    }

    drawTrend(now) {
        const trend = store.trends.get(this.key);
        if (!this.path || !trend) return;
        const path = trend.path(this.device.variable, now);
        if (path !== this.drawn) this.path.setAttribute('d', path);
        this.drawn = path;
    }
}
