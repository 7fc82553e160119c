// ?wall: names, values and ages, as large as the screen allows; what is not well comes first and is filled with colour.

import {arrange, element} from './dom.js';
import {illnessOf, listen, store} from './store.js';
import {Tile} from './tile.js';
import {TileView} from './tile_view.js';

/// Width of a value and height of a tile, in sizes of its text.
const TILE_WIDTH = 3.7;
const TILE_HEIGHT = 2.25;

/// How many columns make the text largest, and its size in pixels.
export function bestGrid(count, width, height) {
    let best = {columns: 1, size: 0};
    for (let columns = 1; columns <= count; ++columns) {
        const rows = Math.ceil(count / columns);
        const size = Math.min(width / columns / TILE_WIDTH, height / rows / TILE_HEIGHT);
        if (size > best.size) best = {columns, size};
    }
    return best;
}

export class WallView extends TileView {
    constructor(main) {
        super();
        document.body.classList.add('wall');
        this.list = element('ul', {class: 'tiles'});
        main.append(this.list);
        this.end = listen({
            reading: key => this.take(key),
            devices: () => this.rebuild(),
            alarms: () => this.updateAll(),
        });
        this.fit = () => this.fitToScreen();
        addEventListener('resize', this.fit);
        this.timer = setInterval(() => this.tick(), 1000);
        this.rebuild();
    }

    close() {
        this.end();
        clearInterval(this.timer);
        removeEventListener('resize', this.fit);
        document.body.classList.remove('wall');
    }

    rebuild() {
        this.tiles = new Map(
            [...store.devices].map(([key, device]) => [key, new Tile(key, device, {digits: 1, showsTrend: false})]));
        this.place();
        this.fitToScreen();
    }

    place() {
        const now = Date.now();
        const rank = tile => this.isIll(tile.key, now) ? 1 + illnessOf(tile.key) : 0;
        const tiles = [...this.tiles.values()].map(tile => [rank(tile), tile]).sort(([a], [b]) => b - a);
        arrange(this.list, tiles.map(([, tile]) => tile.node));
    }

    fitToScreen() {
        const {clientWidth, clientHeight} = this.list;
        const {columns, size} = bestGrid(Math.max(1, this.tiles.size), clientWidth, clientHeight);
        this.list.style.setProperty('--columns', columns);
        this.list.style.setProperty('--size', `${Math.floor(size)}px`);
    }
}
