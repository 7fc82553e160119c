// Asks for what an acknowledgement needs.

import {field, openChange} from './change.js';
import {refreshAlarms} from './store.js';

export function acknowledge(alarm) {
    openChange({
        title: 'Acknowledge',
        about: `${alarm.name || alarm.bus}: ${alarm.text}`,
        fields: [
            field('Your name', {name: 'by', required: true, maxlength: 100, autocomplete: 'name'}),
            field('Comment', {name: 'comment', maxlength: 500}),
        ],
        async question(ask, body) {
            await ask(`alarms/${encodeURIComponent(alarm.id)}/acknowledge`, {method: 'POST', body});
            refreshAlarms();
        },
    });
}
