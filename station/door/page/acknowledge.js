// Asks for what an acknowledgement needs, and for a token when the station wants one.

import {ask, keepToken} from './api.js';
import {element} from './dom.js';
import {refreshAlarms, refreshStation, store} from './store.js';

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

async function send(alarm, form) {
    const {by, comment, token} = Object.fromEntries(new FormData(form));
    const typed = token?.trim();
    const path = `alarms/${encodeURIComponent(alarm.id)}/acknowledge`;
    const options = {method: 'POST', body: {by: by.trim(), comment: comment.trim()}};
    await ask(path, typed ? {...options, asToken: typed} : options);
    if (typed) keepToken(typed);
    refreshAlarms();
    refreshStation();
}

/// Opens the dialogue; it stays open, with what is wrong, until it has worked or was cancelled.
export function acknowledge(alarm) {
    const mayChange = store.station?.rights === 'change';
    const problem = element('p', {class: 'problem', role: 'alert'});
    const form = element(
        'form', {method: 'dialog'}, element('h2', {}, 'Acknowledge'),
        element('p', {}, `${alarm.name || alarm.bus}: ${alarm.text}`),
        field('Your name', {name: 'by', required: true, maxlength: 100, autocomplete: 'name'}),
        field('Comment', {name: 'comment', maxlength: 500}));
    if (!mayChange) {
        form.append(
            field('Token', {name: 'token', type: 'password', required: true}),
            element('p', {class: 'hint'}, 'A token that may change things. It is kept until this tab is closed.'));
    }
    const cancel = element('button', {type: 'button', click: () => dialog.close()}, 'Cancel');
    form.append(problem, element('p', {class: 'buttons'}, cancel, element('button', {class: 'main'}, 'Acknowledge')));
    const dialog = element('dialog', {close: () => dialog.remove()}, form);
    form.addEventListener('submit', async event => {
        event.preventDefault();
        problem.textContent = '';
        await send(alarm, form).then(() => dialog.close(), error => {
            problem.textContent = refusalText(error);
        });
    });
    document.body.append(dialog);
    dialog.showModal();
}
