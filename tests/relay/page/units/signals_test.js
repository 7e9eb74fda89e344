import { minShown, Signals } from '/signals.js';
import { equal, test } from './testing.js';

const call = (from, more = {}) => ({ from, mine: false, acknowledged: false, called: 0, answered: [], ...more });
const light = (kind, text = '', acknowledged = false) => ({ kind, text, acknowledged });

test('a call waits until it is acknowledged or over', () => {
    const signals = new Signals();
    equal(signals.update([{}, { call: call('Fly') }], 0), [{ channel: 1, kind: 'call', from: 'Fly', text: '' }]);
    equal([signals.first.channel, signals.count, signals.isCalled], [1, 1, true]);
    equal(signals.update([{}, { call: call('Fly') }], 10), []);
    equal(signals.update([{}, { call: call('Fly', { acknowledged: true }) }], 20), []);
    equal([signals.first, signals.count, signals.isCalled], [null, 0, false]);
    signals.update([{ call: call('Fly') }], 30);
    signals.update([{ call: null }], 40);
    equal(signals.first, null);
});

test('one’s own call does not wait', () => {
    const signals = new Signals();
    equal(signals.update([{ call: call('Fly', { mine: true }) }], 0), []);
    equal(signals.isCalled, false);
});

test('what came first is answered first, whatever comes meanwhile', () => {
    const signals = new Signals();
    signals.update([{}, { call: call('Fly') }], 0);
    signals.update([{ light: light('standby', 'LX 12') }, { call: call('Fly') }], 10);
    equal([signals.first.kind, signals.count], ['call', 2]);
    signals.update([{ light: light('standby', 'LX 12') }, {}], 20);
    equal([signals.first.kind, signals.first.text], ['standby', 'LX 12']);
});

test('a light that changes is new', () => {
    const signals = new Signals();
    signals.update([{ light: light('standby', 'LX 12', true) }], 0);
    equal(signals.count, 0);
    equal(signals.update([{ light: light('go', 'LX 12') }], 10).map(({ kind }) => kind), ['go']);
    equal(signals.isCalled, false);
});

test('what has just appeared cannot be answered by a tap that was meant for something else', () => {
    const signals = new Signals();
    equal(signals.mayAnswer(0), false);
    signals.update([{ call: call('Fly') }], 1000);
    equal(signals.mayAnswer(1000 + minShown - 1), false);
    equal(signals.mayAnswer(1000 + minShown), true);
    signals.update([{}, { light: light('go') }], 2000);
    equal(signals.mayAnswer(2000 + minShown - 1), false);
});
