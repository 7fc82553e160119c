// Dialogues in which something is changed, with a token when the station wants one.

import {ask, keepToken} from './api.js';
import {element} from './dom.js';
import {refreshStation, store} from './store.js';

/// A labelled field of a form.
export function field(label, attributes) {
    return element('label', {}, element('span', {}, label), element('input', {autocomplete: 'off', ...attributes}));
}

/// What a refusal means to the person who has typed a token.
export function refusalText(problem) {
    if (problem.needsToken) return 'The station does not know this token.';
    if (problem.status === 403) return `This token does not allow it: ${problem.message}.`;
    return `That did not work: ${problem.message}.`;
}

export function mayChange() {
    return store.station?.rights === 'change';
}

function tokenFields() {
    return mayChange() ? [] : [
        field('Token', {name: 'token', type: 'password', required: true}),
        element('p', {class: 'hint'}, 'A token that may change things. It is kept until this tab is closed.'),
    ];
}

/// Asks with the token that was typed, if any, and keeps one that the station has taken.
async function send(typed, question) {
    const {token, ...texts} = Object.fromEntries(Object.entries(typed).map(([name, text]) => [name, text.trim()]));
    await question((path, options) => ask(path, token ? {...options, asToken: token} : options), texts);
    if (!token) return;
    keepToken(token);
    refreshStation();
}

/// Opens a dialogue; it stays open, with what is wrong, until it has worked or was cancelled. `question` gets what asks
/// the station, and the texts of the fields by their names.
export function openChange({title, about, fields = [], question}) {
    const problem = element('p', {class: 'problem', role: 'alert'});
    const cancel = element('button', {type: 'button', click: () => dialog.close()}, 'Cancel');
    const form = element(
        'form', {method: 'dialog'}, element('h2', {}, title), element('p', {}, about), ...fields, ...tokenFields(),
        problem, element('p', {class: 'buttons'}, cancel, element('button', {class: 'main'}, title)));
    const dialog = element('dialog', {close: () => dialog.remove()}, form);
    form.addEventListener('submit', async event => {
        event.preventDefault();
        problem.textContent = '';
        await send(Object.fromEntries(new FormData(form)), question).then(() => dialog.close(), error => {
            problem.textContent = refusalText(error);
        });
    });
    document.body.append(dialog);
    dialog.showModal();
}
