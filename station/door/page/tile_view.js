// What the live view and the wall have in common: a tile for each device, which follows its readings.

import {oncePerFrame} from './dom.js';
import {illnessOf} from './store.js';

/// A device that has just recovered stays among those that are not well for a while, so that one that flaps does not
/// hop about.
const CALM_MS = 15000;

export class TileView {
    constructor() {
        this.tiles = new Map();
        this.dirty = new Set();
        this.illUntil = new Map();
        this.paint = oncePerFrame(() => this.update());
    }

    /// Puts the tiles where they belong. A view's own.
    place() {}

    /// Who is ill for the order on the page: at once when it begins, CALM_MS later when it is over.
    isIll(key, now) {
        if (illnessOf(key) > 0) this.illUntil.set(key, now + CALM_MS);
        return (this.illUntil.get(key) ?? 0) > now;
    }

    take(key) {
        this.dirty.add(key);
        this.paint();
    }

    update() {
        for (const key of this.dirty)
            this.tiles.get(key)?.update();
        this.dirty.clear();
        this.place();
    }

    updateAll() {
        for (const tile of this.tiles.values())
            tile.update();
        this.place();
    }

    tick() {
        if (document.hidden) return;
        for (const tile of this.tiles.values())
            tile.grow();
        this.place();
    }
}
