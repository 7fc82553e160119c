// What the page knows of the station, kept fresh by its events. Views listen; they never ask for values themselves.

import {ask, askAll, follow} from './api.js';
import {Trend} from './trend.js';
import {illness, shownTime} from './words.js';

export const store = {
    station: null,        // as GET station has it
    devices: new Map(),   // by id, in the order of buses and addresses
    readings: new Map(),  // the latest by id
    trends: new Map(),    // by id
    isLoaded: false,      // whether the devices and their values were told once
    alarms: [],           // those that are on
    isHeard: false,       // whether the stream of events is up
    lostAt: null,         // when it went down
    problem: null,        // why
};

const SETTLE_MS = 200;
const ASK_AGAIN_MS = 5000;
const CLOCK_SLACK_MS = 5000;

const listeners = new Set();
let clockOffset = 0;
let stream = null;

/// Calls of `listener` what it has of: reading(key), devices(), alarms(), station(), heard(). Returns what ends that.
export function listen(listener) {
    listeners.add(listener);
    return () => listeners.delete(listener);
}

function tell(what, argument) {
    for (const listener of [...listeners])
        listener[what]?.(argument);
}

/// Now, by the station's clock, in ms since the epoch.
export function stationNow() {
    return Date.now() + clockOffset;
}

/// How old the shown value of a reading is, in ms; null when there is none.
export function ageOf(reading) {
    const taken = shownTime(reading);
    return taken === null ? null : Math.max(0, stationNow() - taken);
}

export function alarmOf(key) {
    return store.alarms.find(alarm => alarm.device === key) ?? null;
}

export function illnessOf(key) {
    return illness(store.readings.get(key), alarmOf(key) !== null);
}

/// Calls `work` soon, once for however many calls come in together.
function settled(work) {
    let timer = null;
    return () => {
        timer ??= setTimeout(() => {
            timer = null;
            work().catch(() => {});  // the stream tells of a station that does not answer
        }, SETTLE_MS);
    };
}

async function loadStation() {
    const asked = Date.now();
    const station = await ask('station');
    clockOffset = Date.parse(station.time) - (asked + Date.now()) / 2;
    store.station = station;
    tell('station');
}

/// Devices and their values together: a device is not shown as one that was never read before its value is here.
async function loadDevices() {
    const [devices, values] = await Promise.all([askAll('devices', 'devices'), askAll('values', 'values')]);
    store.devices = new Map(devices.map(device => [device.id, device]));
    for (const known of [store.readings, store.trends]) {
        for (const key of known.keys())
            if (!store.devices.has(key)) known.delete(key);
    }
    for (const key of store.devices.keys())
        if (!store.trends.has(key)) store.trends.set(key, new Trend());
    values.forEach(takeReading);
    store.isLoaded = true;
    tell('devices');
}

async function loadValues() {
    (await askAll('values', 'values')).forEach(takeReading);
}

async function loadAlarms() {
    store.alarms = await askAll('alarms?state=on', 'alarms');
    tell('alarms');
}

async function loadAll() {
    await Promise.all([loadStation(), loadDevices(), loadAlarms()]);
}

export const refreshAlarms = settled(loadAlarms);
export const refreshStation = settled(loadStation);
const refreshAll = settled(loadAll);
const refreshValues = settled(loadValues);

function takeReading(reading) {
    const key = reading.id;
    if (!key) return;  // not settled yet; it comes with an event that tells of the devices
    const known = store.readings.get(key);
    if (known && Date.parse(known.time) > Date.parse(reading.time)) return;
    store.readings.set(key, reading);
    store.trends.get(key)?.take(reading);
    tell('reading', key);
}

/// The station's clock, or this computer's, was set: ages would be wrong.
function checkClock(reading) {
    if (Math.abs(Date.parse(reading.time) - stationNow()) > CLOCK_SLACK_MS) refreshStation();
}

function takeEvent(name, data) {
    if (name === 'reading') {
        checkClock(data);
        takeReading(data);
    } else if (name === 'reset' || name === 'devices') {
        refreshAll();
    } else {
        refreshAlarms();
        refreshStation();
    }
}

/// A good value that is overdue: the station judges it, so it is asked.
function askWhatIsOverdue() {
    if (!store.isHeard) return;
    for (const [key, reading] of store.readings) {
        const period = store.devices.get(key)?.period_ms ?? 1000;
        if (reading.quality === 'good' && ageOf(reading) > 2 * period + 2000) {
            refreshValues();
            return;
        }
    }
}

/// Begins, or begins anew with another token.
export function start() {
    stream?.stop();
    store.problem = null;
    stream = follow('events', {
        up() {
            store.isHeard = true;
            store.problem = null;
            tell('heard');
            loadAll().catch(() => {});  // then it goes down, and comes up again
        },
        down(problem) {
            if (store.isHeard) store.lostAt = Date.now();
            store.isHeard = false;
            store.problem = problem;
            if (problem.needsToken) stream.stop();  // asking again would not help; a token begins anew
            tell('heard');
        },
        event: takeEvent,
    });
}

export function tryNow() {
    stream?.tryNow();
}

/// What is said of a bus changes without an event.
function askForSentences() {
    if (store.isHeard && !document.hidden) refreshStation();
}

setInterval(askWhatIsOverdue, ASK_AGAIN_MS);
setInterval(askForSentences, 3 * ASK_AGAIN_MS);
