import { hangTime, swipeDistance, tapTime, TalkKeys } from '/talk-keys.js';
import { equal, test } from './testing.js';

/** Two channels with a key each, and a third key for both. */
const make = () => new TalkKeys([[0], [1], [0, 1]]);
const all = 2;
const long = tapTime + 1;

/** Keys with the first one latched at 0 ms. */
function latched() {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.release('finger', tapTime - 1);
    return keys;
}

test('a press talks at once', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    equal(keys.talking(0), [0]);
    equal(keys.state(0), 'held');
    equal(keys.state(1), 'idle');
});

test('a long press ends with the release and its hang time', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.release('finger', long);
    equal(keys.state(0), 'idle');
    equal(keys.talking(long), [0]);
    equal(keys.nextChange(long), long + hangTime);
    equal(keys.talking(long + hangTime - 1), [0]);
    equal(keys.talking(long + hangTime), []);
    equal(keys.nextChange(long + hangTime), null);
});

test('a new press during the hang time keeps talking', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.release('finger', long);
    keys.press('finger', 0, long + 50);
    equal(keys.nextChange(long + 50), null);
    equal(keys.talking(long + hangTime + 1), [0]);
});

test('a tap latches, and the next tap releases with hang time', () => {
    const keys = latched();
    equal(keys.state(0), 'latched');
    equal(keys.talking(60000), [0]);
    keys.press('finger', 0, 60000);
    equal(keys.state(0), 'latched');
    keys.release('finger', 60050);
    equal(keys.state(0), 'idle');
    equal(keys.talking(60051), [0]);
    equal(keys.talking(60050 + hangTime), []);
});

test('a press of exactly the tap’s time is a hold', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.release('finger', tapTime);
    equal(keys.state(0), 'idle');
});

test('a long press on a latched key releases it at its end', () => {
    const keys = latched();
    keys.press('finger', 0, 5000);
    equal(keys.talking(9000), [0]);
    keys.release('finger', 9000);
    equal(keys.state(0), 'idle');
});

test('a cancelled touch releases a held key and latches nothing', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.cancel('finger', 50);
    equal(keys.state(0), 'idle');
    equal(keys.talking(50 + hangTime), []);
    keys.release('finger', 60);
    equal(keys.state(0), 'idle');
});

test('a cancelled touch leaves a latch alone', () => {
    const keys = latched();
    keys.press('finger', 0, 5000);
    keys.cancel('finger', 5050);
    equal(keys.state(0), 'latched');
});

test('a swipe over a key latches nothing and stops talking', () => {
    const keys = make();
    keys.press('finger', 0, 0, 100, 100);
    keys.move('finger', 40, 100, 101 + swipeDistance, true);
    equal(keys.state(0), 'idle');
    keys.release('finger', 60);
    equal(keys.state(0), 'idle');
});

test('a finger that moves a little still taps', () => {
    const keys = make();
    keys.press('finger', 0, 0, 100, 100);
    keys.move('finger', 40, 100 + swipeDistance, 100, true);
    keys.release('finger', 60);
    equal(keys.state(0), 'latched');
});

test('a thumb that drifts keeps talking as long as it is on the key', () => {
    const keys = make();
    keys.press('finger', 0, 0, 100, 100);
    keys.move('finger', long, 130, 100, true);
    equal(keys.state(0), 'held');
    keys.move('finger', long + 10, 300, 100, false);
    equal(keys.state(0), 'idle');
});

test('the key for all opens every channel and shows on each', () => {
    const keys = make();
    keys.press('finger', all, 0);
    equal(keys.talking(0), [0, 1]);
    equal([keys.state(0), keys.state(1), keys.state(all)], ['held', 'held', 'held']);
    keys.release('finger', long);
    equal(keys.talking(long + hangTime), []);
});

test('a tap on the key for all latches every key, a second one releases them', () => {
    const keys = make();
    keys.press('finger', all, 0);
    keys.release('finger', 50);
    equal([keys.state(0), keys.state(1), keys.state(all)], ['latched', 'latched', 'latched']);
    keys.press('finger', all, 1000);
    keys.release('finger', 1050);
    equal([keys.state(0), keys.state(1), keys.state(all)], ['idle', 'idle', 'idle']);
});

test('the key for all shows latched once each single key is', () => {
    const keys = latched();
    equal(keys.state(all), 'idle');
    keys.toggle(1, 2000);
    equal(keys.state(all), 'latched');
    keys.toggle(0, 3000);
    equal(keys.state(all), 'idle');
    equal(keys.talking(3000 + hangTime), [1]);
});

test('holding the key for all leaves what was latched latched', () => {
    const keys = latched();
    keys.press('finger', all, 1000);
    equal([keys.state(0), keys.state(1), keys.state(all)], ['latched', 'held', 'held']);
    keys.release('finger', 1000 + long);
    equal(keys.talking(1000 + long + hangTime), [0]);
});

test('a second press of another hand turns both taps into holds', () => {
    const keys = make();
    keys.press('Digit1', 0, 0);
    keys.press('Digit2', 1, 20);
    keys.release('Digit1', 40);
    keys.release('Digit2', 60);
    equal([keys.state(0), keys.state(1)], ['idle', 'idle']);
});

test('two keys of the keyboard hold two channels', () => {
    const keys = make();
    keys.press('Digit1', 0, 0);
    keys.press('Digit2', 1, 300);
    equal(keys.talking(300), [0, 1]);
    keys.release('Digit1', 900);
    equal(keys.talking(900 + hangTime), [1]);
});

test('two hands on one key hold it until both are released', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.press('Space', 0, 300);
    keys.release('finger', 900);
    equal(keys.talking(5000), [0]);
    keys.release('Space', 6000);
    equal(keys.talking(6000 + hangTime), []);
});

test('a hand cannot press twice', () => {
    const keys = make();
    equal(keys.press('finger', 0, 0), true);
    equal(keys.press('finger', 1, 10), false);
    equal(keys.talking(10), [0]);
});

test('a key that does not exist cannot be pressed', () => {
    const keys = make();
    equal(keys.press('finger', 3, 0), false);
    keys.toggle(3, 0);
    equal(keys.talking(0), []);
});

test('all hands can be cancelled, or some of them', () => {
    const keys = make();
    keys.press('pointer 1', 0, 0);
    keys.press('Digit2', 1, 300);
    keys.cancelHands(1000, (hand) => hand.startsWith('pointer'));
    equal(keys.talking(1000 + hangTime), [1]);
    keys.cancelHands(2000);
    equal(keys.talking(2000 + hangTime), []);
});

test('a screen reader’s press latches and releases', () => {
    const keys = make();
    keys.toggle(0, 0);
    equal(keys.state(0), 'latched');
    keys.toggle(0, 1000);
    equal(keys.state(0), 'idle');
});

test('allOff() turns everything off without hang time and returns whether anything was on', () => {
    const keys = latched();
    keys.press('finger', 1, 1000);
    equal(keys.allOff(), true);
    equal(keys.talking(1000), []);
    equal(keys.nextChange(1000), null);
    equal(keys.allOff(), false);
});

test('unusable keys are off and ignore presses until they are usable again', () => {
    const keys = latched();
    keys.setUsable(false);
    equal(keys.talking(500), []);
    equal(keys.press('finger', 0, 600), false);
    keys.toggle(0, 700);
    equal(keys.state(0), 'idle');
    keys.setUsable(true);
    keys.release('finger', 800);
    equal(keys.talking(800), []);
    equal(keys.press('finger', 0, 900), true);
});
