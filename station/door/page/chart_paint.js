// What is painted beneath a chart's line. `shown`: the canvas's context, the plot's area, the graph (for its scales),
// colours.

import {INPUTS} from './words.js';

const LEAST_TEXT_WIDTH = 90;
const ALARM_HEIGHT = 5;
const LANE_SHARE = 0.7;

/// Left edge and width on the canvas, at least one pixel.
function extent({graph}, from, to) {
    const left = graph.toDomXCoord(from);
    return [left, Math.max(1, graph.toDomXCoord(to) - left)];
}

function text({context, palette}, words, x, y, width) {
    context.fillStyle = palette.muted;
    context.font = '12px system-ui, sans-serif';
    let fitting = words;
    while (fitting.length > 0 && context.measureText(fitting + '…').width > width)
        fitting = fitting.slice(0, -1);
    if (fitting.length > 2) context.fillText(fitting === words ? words : `${fitting}…`, x, y);
}

/// Shaded, with the reason where there is room for it.
export function paintGaps(shown, gaps) {
    const {context, area, palette} = shown;
    for (const {from, to, reason} of gaps) {
        const [left, width] = extent(shown, Date.parse(from), Date.parse(to));
        context.fillStyle = palette.gap;
        context.fillRect(left, area.y, width, area.h);
        const visible = Math.min(left + width, area.x + area.w) - Math.max(left, area.x);
        if (visible > LEAST_TEXT_WIDTH) text(shown, reason, Math.max(left, area.x) + 6, area.y + 22, visible - 12);
    }
}

export function paintLimits(shown, limits) {
    const {context, area, graph, palette} = shown;
    for (const limit of [limits?.low, limits?.high]) {
        if (typeof limit !== 'number') continue;
        const y = Math.round(graph.toDomYCoord(limit)) + 0.5;
        context.strokeStyle = palette.ill;
        context.lineWidth = 1;
        context.setLineDash([6, 4]);
        context.beginPath();
        context.moveTo(area.x, y);
        context.lineTo(area.x + area.w, y);
        context.stroke();
        context.setLineDash([]);
        text(shown, `limit ${limit} °C`, area.x + 6, y - 5, area.w);
    }
}

/// A bar at the top for as long as the alarm was on, and a line where it began.
export function paintAlarms(shown, alarms, end) {
    const {context, area, palette} = shown;
    context.fillStyle = palette.ill;
    for (const {started, ended} of alarms) {
        const [left, width] = extent(shown, Date.parse(started), ended ? Date.parse(ended) : end);
        context.globalAlpha = 1;
        context.fillRect(left, area.y, width, ALARM_HEIGHT);
        context.globalAlpha = 0.35;
        context.fillRect(left, area.y, 1, area.h);
    }
    context.globalAlpha = 1;
}

/// A lane for each input, number 0 on top: the fuller, the longer the input was on in that slice.
export function paintLanes(shown, rows, slice) {
    const {context, area, graph, palette} = shown;
    const lane = area.h / INPUTS;
    for (let input = 0; input < INPUTS; ++input) {
        const middle = graph.toDomYCoord(INPUTS - 1 - input);
        context.globalAlpha = 1;
        context.fillStyle = palette.line;
        context.fillRect(area.x, Math.round(middle + lane / 2), area.w, 1);
        context.fillStyle = palette.lane;
        for (const row of rows) {
            const share = row[`on${input + 1}`];
            if (!share) continue;
            // Whole pixels, so that neighbours neither overlap nor leave a seam.
            const [left, right] = [row.begin, row.begin + slice].map(time => Math.round(graph.toDomXCoord(time)));
            context.globalAlpha = 0.25 + 0.75 * share;
            context.fillRect(left, middle - lane * LANE_SHARE / 2, Math.max(1, right - left), lane * LANE_SHARE);
        }
    }
    context.globalAlpha = 1;
}
