// Which time the chart of a device shows, as it stands in the address: "1h", or two times.

export const SPANS = [
    {word: '1h', name: 'Hour', length: 3600e3},
    {word: '1d', name: 'Day', length: 86400e3},
    {word: '7d', name: 'Week', length: 7 * 86400e3},
    {word: '30d', name: 'Month', length: 30 * 86400e3},
];
const SHORTEST = 10e3;
const LONGEST = 20 * 365 * 86400e3;

/// Of the words behind the device in the address; the last hour when they say nothing.
export function spanOf([first, second]) {
    const from = Date.parse(first);
    const to = Date.parse(second);
    if (to > from) return {from, to, word: null};
    return {word: (SPANS.find(({word}) => word === first) ?? SPANS[0]).word};
}

/// A span without `word` has an end of its own; one with it ends now.
export function limitsOf(span, now) {
    if (!span.word) return [span.from, span.to];
    return [now - SPANS.find(({word}) => word === span.word).length, now];
}

export function addressOf(key, span) {
    const words = span.word ? [span.word] : [new Date(span.from).toISOString(), new Date(span.to).toISOString()];
    return `#/device/${[key, ...words].map(encodeURIComponent).join('/')}`;
}

/// For the history: as it is asked there.
export function queryOf(span) {
    if (span.word) return `from=${span.word}`;
    return `from=${new Date(span.from).toISOString()}&to=${new Date(span.to).toISOString()}`;
}

/// The span from..to, moved and stretched so that it is neither too short nor in the future.
export function sensibleSpan(from, to, now) {
    const length = Math.min(Math.max(to - from, SHORTEST), LONGEST);
    const end = Math.min((from + to + length) / 2, now);
    return {from: Math.round(end - length), to: Math.round(end), word: null};
}

/// Buttons beside the chart: each makes limits of limits.
export const MOVES = [
    {name: 'Earlier', sign: '←', move: (from, to) => [from - (to - from) / 2, to - (to - from) / 2]},
    {name: 'Later', sign: '→', move: (from, to) => [from + (to - from) / 2, to + (to - from) / 2]},
    {name: 'Zoom in', sign: '+', move: (from, to) => [from + (to - from) / 4, to - (to - from) / 4]},
    {name: 'Zoom out', sign: '−', move: (from, to) => [from - (to - from) / 2, to + (to - from) / 2]},
];
