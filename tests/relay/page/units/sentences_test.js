import { presence, slowDown, whoTalks } from '/sentences.js';
import { equal, test } from './testing.js';

test('a single talker is named, several are counted first', () => {
    equal(whoTalks([]), '');
    equal(whoTalks(['Director']), 'Director');
    equal(whoTalks(['Director', 'Fly Floor']), '2 talking: Director, Fly Floor');
});

test('two people on one role are named once', () => {
    equal(whoTalks(['Fly Floor', 'Fly Floor']), 'Fly Floor');
});

test('a role says how many are connected', () => {
    equal(presence(0), 'no one yet');
    equal(presence(2), '2 connected');
});

test('one second is not called seconds', () => {
    equal(slowDown(1).endsWith('1 second.'), true);
    equal(slowDown(2).endsWith('2 seconds.'), true);
});
