// How values, times and qualities are said.

export const INPUTS = 8;

/// The variable's value without its unit: "21.50", or the inputs that are on.
export function valueText(variable, value, digits = 2) {
    if (value === null || value === undefined) return '–';
    return variable === 'inputs' ? inputsText(value) : value.toFixed(digits);
}

export function unitOf(variable) {
    return variable === 'temperature' ? '°C' : '';
}

export function isOn(inputs, input) {
    return (inputs >> input & 1) === 1;
}

/// "inputs 0 and 2 on"
export function inputsText(inputs) {
    const on = [...Array(INPUTS).keys()].filter(input => isOn(inputs, input));
    if (on.length === 0) return 'no input on';
    if (on.length === 1) return `input ${on[0]} on`;
    return `inputs ${on.slice(0, -1).join(', ')} and ${on.at(-1)} on`;
}

const SPANS = [[86400, 'd'], [3600, 'h'], [60, 'min'], [1, 's']];

/// A time span in its largest unit of which there are two or more: "90 s", "5 min", "47 h".
export function spanText(milliseconds) {
    const seconds = Math.max(0, milliseconds / 1000);
    for (const [length, unit] of SPANS) {
        if (seconds >= 2 * length) return `${Math.floor(seconds / length)} ${unit}`;
    }
    return `${Math.floor(seconds)} s`;
}

/// An age, calm while it is that of a value that comes every second or two.
export function ageText(milliseconds) {
    return milliseconds < 3000 ? 'now' : `${spanText(milliseconds)} ago`;
}

const zone = part => new Intl.DateTimeFormat(undefined, {timeZoneName: part})
                         .formatToParts(new Date())
                         .find(({type}) => type === 'timeZoneName')
                         ?.value ??
    '';

/// The zone of all times on the page, such as "GMT+1".
export const zoneText = zone('short');
export const zoneName = zone('long');

const twoDigits = number => String(number).padStart(2, '0');
const isoDay = date => `${date.getFullYear()}-${twoDigits(date.getMonth() + 1)}-${twoDigits(date.getDate())}`;
export const clockText = time => {
    const date = new Date(time);
    return [date.getHours(), date.getMinutes(), date.getSeconds()].map(twoDigits).join(':');
};

/// Local: the time of day alone when it was today, else with its day.
export function timeText(time) {
    const date = new Date(time);
    const today = isoDay(date) === isoDay(new Date());
    return today ? clockText(date) : `${isoDay(date)} ${clockText(date)}`;
}

/// From when to when, and how long that is.
export function rangeText(from, to) {
    const isOneDay = isoDay(new Date(from)) === isoDay(new Date(to));
    return `${timeText(from)} to ${isOneDay ? clockText(to) : timeText(to)}, ${spanText(to - from)}`;
}

/// What an <input type="datetime-local"> takes, to the minute.
export function inputTimeText(time) {
    const date = new Date(time);
    return `${isoDay(date)}T${twoDigits(date.getHours())}:${twoDigits(date.getMinutes())}`;
}

const RANKS = {
    good: 0,
    doubtful: 1,
    stale: 2,
    offline: 3
};

/// How ill a value is: 0 is well. An alarm that is on is the worst.
export function illness(reading, hasAlarm) {
    if (hasAlarm) return 4;
    return reading ? RANKS[reading.quality] ?? 3 : 3;
}

/// Beside the age of a value that is not good; empty for a good one.
export function qualityText(reading) {
    if (!reading) return 'not read yet';
    if (reading.quality === 'doubtful') return reading.doubt ? `doubtful: ${reading.doubt}` : 'doubtful';
    if (reading.quality === 'offline' && !reading.last_good) return 'offline, never read';
    return reading.quality === 'good' ? '' : reading.quality;
}

/// The value that is shown: of a reading that failed, the last good one.
export function shownValue(reading) {
    return reading?.value ?? reading?.last_good?.value ?? null;
}

/// When the shown value was taken, in ms since the epoch by the station's clock; null when there is none.
export function shownTime(reading) {
    if (!reading) return null;
    if (reading.value !== null) return Date.parse(reading.time);
    return reading.last_good ? Date.parse(reading.last_good.time) : null;
}

/// "Oven", with its address when the name alone does not tell it from others.
export function placeText(device) {
    return `${device.name}, ${device.bus} ${device.address}`;
}
