// Asked for when the station answers nobody without a token.

import {ask, keepToken} from './api.js';
import {field, refusalText} from './change.js';
import {element} from './dom.js';

/// `whenGood` is called once the station has taken what was typed.
export function tokenForm(whenGood) {
    const problem = element('span', {class: 'problem', role: 'alert'});
    return element(
        'form', {
            class: 'token',
            async submit(event) {
                event.preventDefault();
                const typed = new FormData(event.target).get('token').trim();
                try {
                    await ask('devices?limit=1', {asToken: typed});
                    keepToken(typed);
                    whenGood();
                } catch (error) {
                    problem.textContent = refusalText(error);
                }
            },
        },
        element('span', {}, 'This station answers only with a token.'),
        field('Token', {name: 'token', type: 'password', required: true}), element('button', {class: 'main'}, 'Go on'),
        problem);
}
