// What can be done with a device: it is read at once, or gets another name.

import {ask} from './api.js';
import {field, mayChange, openChange, refusalText} from './change.js';
import {element, setText} from './dom.js';
import {clockText, unitOf, valueText} from './words.js';

function toldText({time, variable, value, error}) {
    if (value === null) return `Not read: ${error?.text ?? 'no answer'}`;
    return `Read at ${clockText(Date.parse(time))}: ${valueText(variable, value)} ${unitOf(variable)}`.trim();
}

export class DeviceActions {
    /// `deviceOf` tells the device as it is now.
    constructor(deviceOf) {
        this.deviceOf = deviceOf;
        this.told = element('span', {class: 'told', role: 'status'});
        this.node = element(
            'p', {class: 'actions'},
            element('button', {type: 'button', class: 'read', click: () => this.read()}, 'Read now'),
            element('button', {type: 'button', class: 'rename', click: () => this.rename()}, 'Rename'), this.told);
    }

    get path() {
        return `devices/${encodeURIComponent(this.deviceOf().id)}`;
    }

    async read() {
        if (!this.deviceOf()) return;
        const question = async how => {
            setText(this.told, 'Reading …');
            const reading = await how(`${this.path}/read`, {method: 'POST'}).catch(problem => {
                setText(this.told, '');
                throw problem;
            });
            setText(this.told, toldText(reading));
        };
        if (!mayChange()) {
            openChange({title: 'Read now', about: this.deviceOf().name, question});
            return;
        }
        await question(ask).catch(problem => setText(this.told, refusalText(problem)));
    }

    rename() {
        const device = this.deviceOf();
        if (!device) return;
        openChange({
            title: 'Rename',
            about: `address ${device.address} on ${device.bus}`,
            fields: [field('Name', {name: 'name', required: true, maxlength: 100, value: device.name})],
            question: (send, body) => send(this.path, {method: 'PATCH', body}),
        });
    }
}
