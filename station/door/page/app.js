// Which view is shown, the line above it that tells whether the station is heard, and what is said aloud.

import {hasToken, keepToken} from './api.js';
import {element, setText} from './dom.js';
import {NowView} from './now.js';
import {illnessOf, listen, start, store, tryNow} from './store.js';
import {spanText, timeText, zoneName, zoneText} from './words.js';

const isWall = new URLSearchParams(location.search).has('wall');
const main = document.querySelector('main');
const link = document.querySelector('.link');
const spoken = document.querySelector('.spoken');
const title = document.title;

/// Views that are not needed at once are loaded behind the first one, so that they are there when the station is not.
const VIEWS = {
    now: async () => isWall ? (await import('./wall.js')).WallView : NowView,
    device: async () => (await import('./device.js')).DeviceView,
    alarms: async () => (await import('./alarms.js')).AlarmsView,
    lines: async () => (await import('./lines.js')).LinesView,
    health: async () => (await import('./health.js')).HealthView,
};

let view = null;
let shown = '';

function plain(word) {
    try {
        return decodeURIComponent(word);
    } catch {
        return word;
    }
}

function route() {
    const [name, ...words] = location.hash.replace(/^#\/?/, '').split('/').map(plain);
    return Object.hasOwn(VIEWS, name) ? {name, words} : {name: 'now', words: []};
}

async function show() {
    const {name, words} = route();
    const place = `${name}/${name === 'device' || name === 'lines' ? words[0] ?? '' : ''}`;
    for (const anchor of document.querySelectorAll('nav a')) {
        const isHere = anchor.getAttribute('href') === `#/${name}`;
        if (isHere)
            anchor.setAttribute('aria-current', 'page');
        else
            anchor.removeAttribute('aria-current');
    }
    if (place === shown && view?.go) {
        view.go(words);
        return;
    }
    const isFirst = shown === '';
    shown = place;
    const View = await VIEWS[name]().catch(() => null);
    if (shown !== place) return;
    view?.close();
    main.replaceChildren();
    main.className = name;
    view = View && new View(main, words);
    if (!view) main.append('This view could not be loaded. Reload the page when the station can be reached again.');
    if (!isFirst) {
        scrollTo(0, 0);
        main.focus({preventScroll: true});
    }
}

function showStation() {
    const {station} = store;
    if (!station) return;
    setText(document.querySelector('.station'), station.station);
    document.querySelector('nav a[href="#/lines"]').hidden = !station.lines_allowed;
    const footer = document.querySelector('footer');
    const parts = [
        `Times are local: ${zoneName} (${zoneText})`, `nimbo1 ${station.version}`,
        `running since ${timeText(Date.parse(station.started))}`
    ];
    if (station.history?.standing_still_ms) {
        parts.unshift(`Nothing could be written into the history for ${spanText(station.history.standing_still_ms)}`);
    }
    setText(footer, parts.join(' · '));
}

function showCounts() {
    const ill = [...store.devices.keys()].filter(key => illnessOf(key) > 0).length;
    const name = store.station?.station ?? title;
    document.title = !store.isHeard && store.lostAt ? `(?) ${name}` : ill > 0 ? `(${ill}) ${name}` : name;
    const count = document.querySelector('nav .count');
    const open = store.alarms.filter(alarm => !alarm.acknowledged).length;
    setText(count, String(open));
    count.hidden = open === 0;
    count.setAttribute('aria-label', `${open} not acknowledged`);
}

let said = null;

/// Alarms that begin and end are said to those who do not see them; what was on before the page was opened is not.
function sayAlarms() {
    const now = new Map(store.alarms.map(alarm => [alarm.id, alarm]));
    if (said) {
        const begun =
            [...now.values()].filter(({id}) => !said.has(id)).map(({name, text}) => `Alarm: ${name}, ${text}`);
        const over = [...said.values()].filter(({id}) => !now.has(id)).map(({name, text}) => `Over: ${name}, ${text}`);
        if (begun.length + over.length > 0) setText(spoken, [...begun, ...over].join('. '));
    }
    said = now;
}

function showLink() {
    const isLost = !store.isHeard && (store.lostAt !== null || store.problem !== null);
    document.body.classList.toggle('lost', isLost);
    link.hidden = !isLost;
    if (!isLost) return;
    if (store.problem?.needsToken) {
        askForToken();
        return;
    }
    const since = store.lostAt === null ? '' : ` since ${timeText(store.lostAt)}`;
    const why = store.problem?.status ? ` (${store.problem.message})` : '';
    const text =
        `The station cannot be reached${since}${why}. The values shown are old. The page reconnects by itself.`;
    if (link.dataset.text === text) return;
    link.dataset.text = text;
    link.replaceChildren(text, ' ', element('button', {type: 'button', click: tryNow}, 'Try now'));
}

/// A token that is no longer taken is forgotten first: without one some stations let everybody read.
async function askForToken() {
    if (hasToken()) {
        keepToken(null);
        start();
        return;
    }
    link.dataset.text = '';
    const {tokenForm} = await import('./token.js');
    if (!link.querySelector('form')) link.replaceChildren(tokenForm(start));
}

listen({
    heard() {
        showLink();
        showCounts();
    },
    station() {
        showStation();
        showCounts();
    },
    devices: showCounts,
    alarms() {
        showCounts();
        sayAlarms();
    },
});
setInterval(showCounts, 1000);
addEventListener('hashchange', show);
document.querySelector('.skip').addEventListener('click', event => {
    event.preventDefault();
    main.focus();
});
if (isWall) document.body.classList.add('wall');
start();
await show();
for (const load of Object.values(VIEWS))
    load().catch(() => {});
