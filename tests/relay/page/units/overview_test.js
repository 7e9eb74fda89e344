import { duration, notesOf, signalsOf } from '/overview.js';
import { equal, test } from './testing.js';

const minute = 60000;
const member = (more = {}) => ({
    connected: true,
    microphone: true,
    open: [],
    heard: null,
    screen: 'on',
    battery: null,
    charging: false,
    loss: null,
    delay: null,
    ...more,
});
const bad = (more, now = 10 * minute) => notesOf(member(more), now).flatMap(({ text, isBad }) => (isBad ? [text] : []));

test('a duration has minutes and seconds, and hours only if need be', () => {
    equal([0, 999, 65000, 3723000, -5].map(duration), ['0:00', '0:00', '1:05', '1:02:03', '0:00']);
});

test('of a member of whom nothing is known nothing is noted', () => {
    equal(notesOf(member(), 0), []);
});

test('an open key is forgotten three minutes after it was opened, or after the last word', () => {
    const open = [{ channel: 0, since: 2 * minute }];
    equal(bad({ open }, 5 * minute - 1), []);
    equal(bad({ open }, 5 * minute), ['open without a word for 3:00']);
    equal(bad({ open, heard: 4 * minute }, 5 * minute), []);
    equal(bad({ open: [...open, { channel: 1, since: 4 * minute }] }, 5 * minute), []);
    equal(bad({ heard: 0 }), []);
});

test('a bad line, a low battery and a screen that may lock are bad', () => {
    equal(bad({ loss: 0.04, delay: 199, battery: 0.21 }), []);
    equal(bad({ loss: 0.05, delay: 200, battery: 0.2 }), ['loss 5 %', 'delay 200 ms', 'battery 20 %']);
    equal(bad({ battery: 0.1, charging: true }), []);
    equal(bad({ screen: 'may-lock' }), ['screen may lock']);
});

test('what is bad stands first', () => {
    const notes = notesOf(member({ heard: 0, loss: 1, microphone: false }), minute);
    equal(notes.map(({ isBad }) => isBad), [true, false, false]);
});

test('a channel tells its light and its call with those who have answered', () => {
    equal(signalsOf({}), []);
    const light = { kind: 'go', text: 'LX 12', shown: 2, answered: ['Fly'] };
    const call = { from: '', called: 0, answered: [] };
    equal(signalsOf({ light, call }), ['Go LX 12: 1 of 2 answered (Fly)', 'Call: 0 of 0 answered (–)']);
});
