// The chart of a device's history: dygraphs draws the axes, the line and its band; gaps, limits, alarms and the lanes
// of inputs are painted beneath.

import {paintAlarms, paintGaps, paintLanes, paintLimits} from './chart_paint.js';
import {clockText, INPUTS, inputsText, rangeText, timeText} from './words.js';

/// A sensor that stands still shall not look restless.
const LEAST_RANGE = 1;

let loading = null;

/// The library is asked for with the first chart: it is four times as large as the rest of the page.
function loadDygraph() {
    loading ??= new Promise((resolve, reject) => {
        const style = document.createElement('link');
        style.rel = 'stylesheet';
        style.href = 'dygraph.min.css';
        const script = document.createElement('script');
        script.src = 'dygraph.min.js';
        script.onload = () => {
            const {Dygraph} = globalThis;
            // Its legend writes style attributes, which the page's content policy forbids; the line below the chart
            // does its work.
            Dygraph.PLUGINS = Dygraph.PLUGINS.filter(plugin => plugin !== Dygraph.Plugins.Legend);
            resolve(Dygraph);
        };
        script.onerror = () => {
            loading = null;
            reject(new Error('the chart could not be loaded'));
        };
        document.head.append(style, script);
    });
    return loading;
}

/// Rows as {time, ...} by the names of the columns; a row's time is the middle of its slice.
export function rowsOf({columns, rows, slice_ms: slice, to}) {
    const end = Date.parse(to);
    return rows.map(row => {
        const named = Object.fromEntries(columns.map((column, index) => [column, row[index]]));
        return {...named, begin: named.time, time: Math.min(named.time + slice / 2, Math.max(end, named.time))};
    });
}

/// No value, with its band.
const NOTHING = [null, null, null];

/// What dygraphs takes; the line is broken where there is a gap, and there are points without a value too, since it
/// asks for some.
function points(rows, gaps, limits, pointOf) {
    const holes = [...limits, ...gaps.map(({from, to}) => (Date.parse(from) + Date.parse(to)) / 2)];
    const all = [...rows.map(row => [row.time, pointOf(row)]), ...holes.map(time => [time, NOTHING])];
    return all.sort(([a], [b]) => a - b).map(([time, point]) => [new Date(time), point]);
}

/// From the lowest to the highest with some air; a limit is shown unless it is far away.
function valueRange(rows, {low, high} = {}) {
    const known = rows.filter(({minimum}) => minimum !== null);
    const lowest = Math.min(...known.map(({minimum}) => minimum));
    const highest = Math.max(...known.map(({maximum}) => maximum));
    if (known.length === 0) return [0, 1];
    const range = Math.max(highest - lowest, LEAST_RANGE);
    const middle = (highest + lowest) / 2;
    const isNear = limit => typeof limit === 'number' && Math.abs(limit - middle) < 2 * range;
    const shown = [middle - range / 2, middle + range / 2, ...[low, high].filter(isNear)];
    const air = range * 0.08;
    return [Math.min(...shown) - air, Math.max(...shown) + air];
}

const degrees = value => `${value.toFixed(2)} °C`;

function temperatureText({minimum, maximum, mean, count}) {
    if (minimum === null) return 'no good value';
    return count === 1 ? degrees(mean) : `${degrees(minimum)} to ${degrees(maximum)}, mean ${degrees(mean)}`;
}

function inputsRowText({all, any}) {
    if (any === null) return 'no good value';
    return all === any ? inputsText(all) : `${inputsText(all)} throughout, at times ${inputsText(any)}`;
}

/// One sentence about all that is shown.
export function summaryOf(history) {
    const rows = rowsOf(history).filter(row => (row.minimum ?? row.any ?? null) !== null);
    const said = [];
    if (rows.length === 0) {
        said.push('no values in this time');
    } else if (history.variable === 'temperature') {
        const count = rows.reduce((sum, row) => sum + row.count, 0);
        const mean = rows.reduce((sum, row) => sum + row.mean * row.count, 0) / count;
        said.push(
            `lowest ${degrees(Math.min(...rows.map(row => row.minimum)))}`,
            `highest ${degrees(Math.max(...rows.map(row => row.maximum)))}`, `mean ${degrees(mean)}`);
    } else {
        said.push(`at some time ${inputsText(rows.reduce((any, row) => any | row.any, 0))}`);
    }
    const doubtful = history.rows.reduce((sum, row) => sum + row[history.columns.indexOf('doubtful')], 0);
    if (doubtful > 0) said.push(`${doubtful} doubtful`);
    if (history.gaps.length > 0) said.push(`${history.gaps.length} gap${history.gaps.length === 1 ? '' : 's'}`);
    return said.join(', ');
}

export class Chart {
    /// `zoomed(from, to)` is called when a part was dragged out, `widened()` at a double click.
    constructor(node, readout, {zoomed, widened}) {
        Object.assign(this, {node, readout, zoomed, widened});
        this.theme = matchMedia('(prefers-color-scheme: dark)');
        this.recolour = () => this.graph?.updateOptions(this.colours());
        this.theme.addEventListener('change', this.recolour);
        this.resize = new ResizeObserver(() => this.graph?.resize());
        this.resize.observe(node);
        node.addEventListener('mousemove', event => this.point(event));
        node.addEventListener('mouseleave', () => this.showSummary());
    }

    close() {
        this.isClosed = true;
        this.theme.removeEventListener('change', this.recolour);
        this.resize.disconnect();
        this.graph?.destroy();
    }

    /// `limits`: from and to in ms since the epoch.
    async show(history, device, limits) {
        const Dygraph = await loadDygraph();
        if (this.isClosed) return;
        this.history = history;
        this.device = device;
        this.limits = limits;
        this.rows = rowsOf(history);
        const options = {...this.dataOptions(), ...this.colours(), dateWindow: limits};
        if (this.graph)
            this.graph.updateOptions(options);
        else
            this.graph =
                new Dygraph(this.node, options.file, {...options, ...this.fixedOptions(Dygraph), file: undefined});
        this.showSummary();
    }

    dataOptions() {
        const {gaps, variable} = this.history;
        const isLanes = variable === 'inputs';
        const pointOf = isLanes ? () => [0, 0, 0] : ({minimum, mean, maximum}) => [minimum, mean, maximum];
        return {
            file: points(this.rows, gaps, this.limits, pointOf),
            valueRange: isLanes ? [-0.5, INPUTS - 0.5] : valueRange(this.rows, this.device?.limits),
        };
    }

    colours() {
        const style = getComputedStyle(document.documentElement);
        const colour = name => style.getPropertyValue(name).trim();
        this.palette =
            Object.fromEntries(['ink', 'muted', 'line', 'gap', 'ill', 'lane'].map(name => [name, colour(`--${name}`)]));
        return {colors: [this.palette.ink], axisLineColor: this.palette.line, gridLineColor: this.palette.line};
    }

    fixedOptions(Dygraph) {
        const isLanes = this.history.variable === 'inputs';
        const ticker = () => [...Array(INPUTS).keys()].map(input => ({v: INPUTS - 1 - input, label: String(input)}));
        const y = {axisLabelWidth: 40, ...(isLanes ? {ticker, drawGrid: false} : {pixelsPerLabel: 36})};
        return {
            labels: ['Time', isLanes ? 'Inputs' : 'Temperature'],
            customBars: true,
            fillAlpha: 0.16,
            strokeWidth: isLanes ? 0 : 1.5,
            legend: 'never',
            highlightCircleSize: isLanes ? 0 : 4,
            axes: {y, x: {pixelsPerLabel: 80, drawGrid: !isLanes}},
            rightGap: 8,
            zoomCallback: (from, to) => this.takeZoom(from, to),
            underlayCallback: (context, area, graph) => this.paint(context, area, graph),
            interactionModel: this.interaction(Dygraph.defaultInteractionModel),
        };
    }

    /// One finger scrolls the page; two zoom.
    interaction(model) {
        return {
            ...model,
            touchstart: (event, graph, context) => event.touches.length > 1 && model.touchstart(event, graph, context),
            touchmove: (event, graph, context) =>
                context.initialTouches?.length > 1 && model.touchmove(event, graph, context),
            touchend: (event, graph, context) => {
                if (!(context.initialTouches?.length > 1)) return;
                model.touchend(event, graph, context);
                context.initialTouches = [];
                this.zoomed(...graph.xAxisRange());
            },
            dblclick: () => this.widened(),
        };
    }

    takeZoom(from, to) {
        // Dragging up or down would stretch the values; they always fit as they are.
        this.graph.updateOptions({valueRange: this.dataOptions().valueRange}, true);
        this.zoomed(from, to);
    }

    paint(context, area, graph) {
        const shown = {context, area, graph, palette: this.palette};
        context.save();
        context.beginPath();
        context.rect(area.x, area.y, area.w, area.h);
        context.clip();
        paintGaps(shown, this.history.gaps);
        if (this.history.variable === 'inputs')
            paintLanes(shown, this.rows, this.history.slice_ms);
        else
            paintLimits(shown, this.device?.limits);
        paintAlarms(shown, this.history.alarms, Date.parse(this.history.to));
        context.restore();
    }

    point(event) {
        if (!this.graph) return;
        const time = this.graph.toDataXCoord(event.clientX - this.node.getBoundingClientRect().left);
        const gap = this.history.gaps.find(({from, to}) => Date.parse(from) <= time && time <= Date.parse(to));
        if (gap) {
            this.readout.textContent =
                `${rangeText(Date.parse(gap.from), Date.parse(gap.to))}, without values: ${gap.reason}`;
            return;
        }
        const row = this.nearest(time);
        if (!row) return;
        const slice = this.history.slice_ms;
        const until = slice >= 2000 && row.count !== 1 ? `–${clockText(row.begin + slice)}` : '';
        const text = this.history.variable === 'inputs' ? inputsRowText(row) : temperatureText(row);
        const doubtful = row.doubtful > 0 ? `, ${row.doubtful} doubtful` : '';
        this.readout.textContent = `${timeText(row.begin)}${until}: ${text}${doubtful}`;
    }

    nearest(time) {
        return this.rows.reduce(
            (best, row) => best && Math.abs(best.time - time) <= Math.abs(row.time - time) ? best : row, null);
    }

    showSummary() {
        if (!this.history) return;
        const summary = summaryOf(this.history);
        this.readout.textContent = summary.charAt(0).toUpperCase() + summary.slice(1);
        const [from, to] = [this.history.from, this.history.to].map(time => timeText(Date.parse(time)));
        this.node.setAttribute('aria-label', `Chart from ${from} to ${to}: ${summary}`);
    }
}
