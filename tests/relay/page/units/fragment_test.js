import { memory, readFragment } from '/memory.js';
import { equal, test } from './testing.js';

const key = 'Zk1_-'.padEnd(22, 'x');

test('a card’s address gives the key and the role', () => {
    const fragment = readFragment(`#key=${key}&role=k7d2m9qa`);
    equal(fragment, { credential: { key, cardRole: 'k7d2m9qa' }, role: 'k7d2m9qa' });
});

test('the card for the door has no role', () => {
    equal(readFragment(`#key=${key}`), { credential: { key }, role: null });
});

test('a code counts where there is no key', () => {
    equal(readFragment('#code=482913&role=k7d2m9qa'), { credential: { code: '482913' }, role: 'k7d2m9qa' });
    equal(readFragment(`#code=482913&key=${key}`).credential, { key });
});

test('no fragment gives nothing', () => {
    equal(readFragment(''), { credential: null, role: null });
});

test('invalid codes, keys and roles are ignored', () => {
    equal(readFragment('#code=48291&role=<script>'), { credential: null, role: null });
    equal(readFragment('#code=4829133&role='), { credential: null, role: null });
    equal(readFragment(`#key=${key}x&role=${'x'.repeat(65)}`), { credential: null, role: null });
});

test('what let a person in is remembered, and forgotten', () => {
    for (const credential of [{ key, cardRole: 'k7d2m9qa' }, { key }, { code: '482913' }, null]) {
        memory.credential = credential;
        equal(memory.credential, credential);
    }
});
