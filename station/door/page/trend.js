// The last ten minutes of a device as a small picture: a line, or a bar for each time with inputs on.

import {ask} from './api.js';

const SLICES = 60;
const SLICE_MS = 10000;
const WIDTH = SLICES * 2;
const HEIGHT = 24;
/// A sensor that stands still shall not look restless.
const LEAST_RANGE = 0.5;

/// Lowest and highest value of each ten seconds.
export class Trend {
    constructor() {
        this.slices = new Map();
        this.isSeeded = false;
        this.version = 0;
    }

    take(reading) {
        if (reading.quality === 'good') this.add(Date.parse(reading.time), reading.value, reading.value);
    }

    add(time, lowest, highest) {
        const slice = Math.floor(time / SLICE_MS);
        const known = this.slices.get(slice);
        if (known && known[0] <= lowest && known[1] >= highest) return;
        this.slices.set(slice, known ? [Math.min(known[0], lowest), Math.max(known[1], highest)] : [lowest, highest]);
        for (const old of this.slices.keys())
            if (old <= slice - 2 * SLICES) this.slices.delete(old);
        ++this.version;
    }

    /// Takes what was before the page was opened from the history, once.
    async seed(device) {
        if (this.isSeeded) return;
        this.isSeeded = true;
        const id = encodeURIComponent(device.id);
        const {columns, rows} = await ask(`history?device=${id}&from=10m&points=${SLICES}`).catch(problem => {
            this.isSeeded = problem.status !== 0;
            throw problem;
        });
        const [low, high] = ['minimum', 'maximum'].map(name => columns.indexOf(name));
        const [all, any] = ['all', 'any'].map(name => columns.indexOf(name));
        for (const row of rows) {
            const [lowest, highest] = low >= 0 ? [row[low], row[high]] : [row[all], row[any]];
            if (lowest !== null) this.add(row[0], lowest, highest);
        }
    }

    /// The `d` of a path in a box of 120 x 24; slices without a value leave it open.
    path(variable, now) {
        const first = Math.floor(now / SLICE_MS) - SLICES + 1;
        return variable === 'inputs' ? this.bars(first) : this.line(first);
    }

    bars(first) {
        let path = '';
        for (let index = 0; index < SLICES; ++index) {
            const values = this.slices.get(first + index);
            if (!values) continue;
            for (let input = 0; input < 8; ++input) {
                if (values[1] >> input & 1) path += `M${index * 2} ${input * 3 + 1.5}h2`;
            }
        }
        return path;
    }

    line(first) {
        const shown = [...this.slices].filter(([slice]) => slice >= first);
        const lowest = Math.min(...shown.map(([, values]) => values[0]));
        const highest = Math.max(...shown.map(([, values]) => values[1]));
        const range = Math.max(highest - lowest, LEAST_RANGE);
        const middle = (highest + lowest) / 2;
        const y = value => (HEIGHT / 2 - (value - middle) / range * (HEIGHT - 4)).toFixed(1);
        let path = '';
        let isOpen = true;
        for (let index = 0; index < SLICES; ++index) {
            const values = this.slices.get(first + index);
            if (values) path += `${isOpen ? 'M' : 'L'}${index * 2} ${y(values[0])}V${y(values[1])}h1`;
            isOpen = !values;
        }
        return path;
    }
}

export const TREND_BOX = `0 0 ${WIDTH} ${HEIGHT}`;
