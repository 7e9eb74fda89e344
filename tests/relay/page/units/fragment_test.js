import { readFragment } from '/memory.js';
import { equal, test } from './testing.js';

test('a card’s address gives the code and the role', () => {
    equal(readFragment('#code=482913&role=k7d2m9qa'), { code: '482913', role: 'k7d2m9qa' });
});

test('a code alone is enough', () => {
    equal(readFragment('#code=482913'), { code: '482913', role: null });
});

test('no fragment gives nothing', () => {
    equal(readFragment(''), { code: null, role: null });
});

test('invalid codes and keys are ignored', () => {
    equal(readFragment('#code=48291&role=<script>'), { code: null, role: null });
    equal(readFragment('#code=4829133&role='), { code: null, role: null });
    equal(readFragment(`#code=48a913&role=${'x'.repeat(65)}`), { code: null, role: null });
});
