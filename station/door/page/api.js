// The way to the station: questions, the token, and streams of events that come back by themselves.

const BASE = new URL('api/v1/', document.baseURI);
const TOKEN = 'nimbo1-token';
const PATIENCE_MS = 10000;
/// The station sends a comment every 15 s when it has nothing else to say.
const SILENCE_MS = 20000;
const FIRST_PAUSE_MS = 400;
const LONGEST_PAUSE_MS = 15000;

/// What the station answered in place of what was asked for, or that it did not answer (status 0).
export class Problem extends Error {
    constructor(status, text) {
        super(text);
        this.status = status;
    }
    get needsToken() {
        return this.status === 401;
    }
}

let token = readToken();

function readToken() {
    try {
        return sessionStorage.getItem(TOKEN);
    } catch {
        return null;
    }
}

export function hasToken() {
    return token !== null;
}

/// For this tab alone, until it is closed; null forgets it.
export function keepToken(text) {
    token = text;
    try {
        if (text === null)
            sessionStorage.removeItem(TOKEN);
        else
            sessionStorage.setItem(TOKEN, text);
    } catch {
        // A browser that keeps nothing: the token lasts as long as the page.
    }
}

function headers(more, asToken) {
    const authorization = asToken === null ? {} : {Authorization: `Bearer ${asToken}`};
    return {...authorization, ...more};
}

async function problemOf(response) {
    const problem = await response.json().catch(() => ({}));
    return new Problem(response.status, problem.detail ?? problem.title ?? `the answer was ${response.status}`);
}

async function send(path, options) {
    const response = await fetch(new URL(path, BASE), {cache: 'no-store', ...options}).catch(error => {
        throw error.name === 'AbortError' ? error : new Problem(0, 'the station does not answer');
    });
    if (!response.ok) throw await problemOf(response);
    return response;
}

/// The answer to `path` (relative to api/v1/), or a Problem. `asToken` tries a token that is not kept (yet).
export async function ask(path, {method = 'GET', body, signal, asToken = token} = {}) {
    const patience = new AbortController();
    const timer = setTimeout(() => patience.abort(), PATIENCE_MS);
    signal?.addEventListener('abort', () => patience.abort());
    try {
        const response = await send(path, {
            method,
            signal: patience.signal,
            headers: headers(body ? {'Content-Type': 'application/json'} : {}, asToken),
            body: body && JSON.stringify(body),
        });
        return await response.json();
    } catch (error) {
        if (error.name === 'AbortError' && !signal?.aborted) throw new Problem(0, 'the station does not answer');
        throw error;
    } finally {
        clearTimeout(timer);
    }
}

/// A list that comes in pages, whole.
export async function askAll(path, key) {
    const items = [];
    for (let next = path; next;) {
        const page = await ask(next);
        items.push(...page[key]);
        next = page.next && new URL(page.next, new URL(path, BASE)).href;
    }
    return items;
}

/// Saves what `path` answers as a file. With a token the page fetches it, since a link cannot show one.
export async function download(path, fileName) {
    const link = document.createElement('a');
    link.download = fileName;
    if (token === null) {
        link.href = new URL(path, BASE);
        link.click();
        return;
    }
    const response = await send(path, {headers: headers({}, token)});
    link.href = URL.createObjectURL(await response.blob());
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), PATIENCE_MS);
}

/// Server-sent events out of pieces of text: calls `take({id, event, data})` for each whole one, which may be an id
/// alone.
export function eventParser(take) {
    let rest = '';
    let fields = {};
    return text => {
        const lines = (rest + text).split('\n');
        rest = lines.pop();
        for (const line of lines) {
            if (line === '') {
                take(fields);
                fields = {};
                continue;
            }
            const [, name, value] = /^([^:]*):? ?(.*?)\r?$/.exec(line);
            if (name === 'data' && fields.data !== undefined)
                fields.data += `\n${value}`;
            else if (name)
                fields[name] = value;
        }
    };
}

/// Follows a stream of events until `stop`. After a loss it tries again, ever less often and not all pages at once,
/// from the last event that it had. handler: up(), down(problem), event(name, data); a handler may stop it.
export function follow(path, handler) {
    const stream = {stopped: false, isResting: false, lastId: null, tries: 0, reader: null, heardAt: 0, wake: () => {}};

    async function once() {
        stream.reader = new AbortController();
        const silence = () => {
            stream.heardAt = Date.now();
            return setTimeout(() => stream.reader.abort(), SILENCE_MS);
        };
        let timer = silence();
        try {
            const resume = stream.lastId ? {'Last-Event-ID': stream.lastId} : {};
            const response = await send(path, {headers: headers(resume, token), signal: stream.reader.signal});
            handler.up();
            const take = eventParser(({id, event, data}) => {
                if (id) stream.lastId = id;
                if (data !== undefined && !stream.stopped) handler.event(event, JSON.parse(data));
            });
            const reader = response.body.pipeThrough(new TextDecoderStream()).getReader();
            for (;;) {
                const {done, value} = await reader.read();
                if (done) return;
                stream.tries = 0;
                clearTimeout(timer);
                timer = silence();
                take(value);
            }
        } finally {
            clearTimeout(timer);
        }
    }

    function pause(milliseconds) {
        return new Promise(resume => {
            stream.wake = resume;
            if (milliseconds !== null) setTimeout(resume, milliseconds);
        });
    }

    async function keepOn() {
        while (!stream.stopped) {
            const problem = await once().then(() => null, error => error);
            if (stream.stopped) return;
            if (stream.isResting) {
                await pause(null);
                continue;
            }
            handler.down(problem instanceof Problem ? problem : new Problem(0, 'the station does not answer'));
            if (stream.stopped) return;
            const longest = Math.min(FIRST_PAUSE_MS * 2 ** stream.tries++, LONGEST_PAUSE_MS);
            await pause(longest * (0.5 + Math.random() / 2));
        }
    }

    const tryNow = () => {
        if (document.hidden || stream.isResting) return;
        // The computer may have slept, and its timers with it.
        if (Date.now() - stream.heardAt > SILENCE_MS) stream.reader?.abort();
        stream.wake();
    };
    // A page that the browser keeps for the way back must not keep its connection: there are six for all tabs together.
    const rest = () => {
        stream.isResting = true;
        stream.reader?.abort();
    };
    const goOn = () => {
        stream.isResting = false;
        stream.wake();
    };
    const listeners = [
        [window, 'online', tryNow], [document, 'visibilitychange', tryNow], [window, 'pagehide', rest],
        [window, 'pageshow', goOn]
    ];
    for (const [target, name, listener] of listeners)
        target.addEventListener(name, listener);
    keepOn();
    return {
        tryNow,
        stop() {
            stream.stopped = true;
            stream.reader?.abort();
            stream.wake();
            for (const [target, name, listener] of listeners)
                target.removeEventListener(name, listener);
        },
    };
}
