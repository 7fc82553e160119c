// One alarm as a line of text with what can be done, on the pages Now, Alarms and of a device.

import {acknowledge} from './acknowledge.js';
import {element, setText} from './dom.js';
import {stationNow, store} from './store.js';
import {placeText, rangeText, spanText, timeText, zoneText} from './words.js';

function whereOf(alarm) {
    const known = store.devices.get(alarm.device);
    if (!alarm.device) return element('span', {class: 'name'}, alarm.name || alarm.bus);
    return element(
        'a', {class: 'name', href: `#/device/${encodeURIComponent(alarm.device)}`, title: placeText(known ?? alarm)},
        alarm.name);
}

function timesText({started, ended}) {
    const begin = Date.parse(started);
    return ended ? rangeText(begin, Date.parse(ended)) : `since ${timeText(begin)}, ${spanText(stationNow() - begin)}`;
}

function acknowledgementText({time, by, comment}) {
    const words = comment ? `: ${comment}` : '';
    return `acknowledged by ${by || 'someone'} at ${timeText(Date.parse(time))}${words}`;
}

function rowOf(alarm) {
    const {acknowledged} = alarm;
    const row = element(
        'li', {class: 'alarm', 'data-state': alarm.state, 'data-acknowledged': acknowledged ? 'yes' : 'no'},
        element('span', {class: 'what'}, whereOf(alarm), ' ', element('span', {}, alarm.text)),
        element('span', {class: 'when', title: `times are local, ${zoneText}`}));
    if (acknowledged) {
        row.append(element('span', {class: 'words'}, acknowledgementText(acknowledged)));
    } else {
        const label = `Acknowledge the alarm of ${alarm.name || alarm.bus}: ${alarm.text}`;
        row.append(
            element('button', {type: 'button', 'aria-label': label, click: () => acknowledge(alarm)}, 'Acknowledge'));
    }
    return row;
}

/// The rows of a list that changes: an alarm that is as it was keeps its row, and so the focus in it.
export class AlarmRows {
    constructor() {
        this.rows = new Map();
    }

    /// List items, with how long each has lasted by now.
    of(alarms) {
        const known = this.rows;
        this.rows = new Map();
        return alarms.map(alarm => {
            const form = JSON.stringify(alarm);
            const row = known.get(form) ?? rowOf(alarm);
            this.rows.set(form, row);
            setText(row.querySelector('.when'), timesText(alarm));
            return row;
        });
    }
}
