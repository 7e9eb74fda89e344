import { hangTime, restRadius, rollDistance, swipeDistance, tapTime, TalkKeys } from '/talk-keys.js';
import { equal, test } from './testing.js';

/** Two channels with a key each, and a third key for both. */
const make = () => new TalkKeys([[0], [1], [0, 1]]);
const all = 2;
const long = tapTime + 1;

/** The state of a key once every press is open. */
const stateOf = (keys, key) => keys.state(key, 1e9);

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
    equal(stateOf(keys, 0), 'held');
    equal(stateOf(keys, 1), 'idle');
});

test('a long press ends with the release and its hang time', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.release('finger', long);
    equal(stateOf(keys, 0), 'idle');
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
    equal(stateOf(keys, 0), 'latched');
    equal(keys.talking(60000), [0]);
    keys.press('finger', 0, 60000);
    equal(stateOf(keys, 0), 'latched');
    keys.release('finger', 60050);
    equal(stateOf(keys, 0), 'idle');
    equal(keys.talking(60051), [0]);
    equal(keys.talking(60050 + hangTime), []);
});

test('a press of exactly the tap’s time is a hold', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.release('finger', tapTime);
    equal(stateOf(keys, 0), 'idle');
});

test('a long press on a latched key releases it at its end', () => {
    const keys = latched();
    keys.press('finger', 0, 5000);
    equal(keys.talking(9000), [0]);
    keys.release('finger', 9000);
    equal(stateOf(keys, 0), 'idle');
});

test('a cancelled touch releases a held key and latches nothing', () => {
    const keys = make();
    keys.press('finger', 0, 0);
    keys.cancel('finger', 50);
    equal(stateOf(keys, 0), 'idle');
    equal(keys.talking(50 + hangTime), []);
    keys.release('finger', 60);
    equal(stateOf(keys, 0), 'idle');
});

test('a cancelled touch leaves a latch alone', () => {
    const keys = latched();
    keys.press('finger', 0, 5000);
    keys.cancel('finger', 5050);
    equal(stateOf(keys, 0), 'latched');
});

const delay = 60;

/** Keys with a finger on the first one since 0 ms, at 100, 100. */
function touched(keys = make()) {
    keys.press('finger', 0, 0, { x: 100, y: 100, delay });
    return keys;
}

test('a touch opens the key once the finger has rested', () => {
    const keys = touched();
    equal(keys.talking(delay - 1), []);
    equal(keys.state(0, delay - 1), 'idle');
    equal(keys.nextChange(0), delay);
    equal(keys.isOpen('finger', delay - 1), false);
    equal(keys.talking(delay), [0]);
    equal(keys.state(0, delay), 'held');
    equal(keys.isOpen('finger', delay), true);
    equal(keys.nextChange(delay), null);
});

test('a touch shorter than the rest is still a tap', () => {
    const keys = touched();
    keys.release('finger', delay - 10);
    equal(keys.state(0, delay - 10), 'latched');
});

test('a swipe that begins on a key opens and latches nothing', () => {
    const keys = touched();
    for (let time = 15; time < 400; time += 15) {
        keys.move('finger', time, 100, 100 + time);
        equal(keys.talking(time), []);
    }
    keys.release('finger', 400);
    equal(keys.talking(400), []);
    equal(keys.nextChange(400), null);
});

test('a swipe that comes to rest before it is lifted opens nothing', () => {
    const keys = touched();
    keys.move('finger', 30, 100, 101 + rollDistance);
    equal(keys.nextChange(30), null);
    equal(keys.talking(5000), []);
    keys.release('finger', 5000);
    equal(keys.talking(5000), []);
});

test('a swipe that begins on a latched key leaves the latch alone', () => {
    const keys = latched();
    keys.press('finger', 0, 5000, { x: 100, y: 100, delay });
    keys.move('finger', 5020, 100, 150);
    keys.release('finger', 5040);
    equal(stateOf(keys, 0), 'latched');
});

test('a scroll that takes the touch away opens nothing', () => {
    const keys = touched();
    equal(keys.cancel('finger', delay - 10), false);
    equal(keys.talking(delay), []);
});

test('a thumb that rolls as it lands opens the key as soon as it rests', () => {
    const keys = touched();
    keys.move('finger', 30, 100 + rollDistance, 100);
    equal(keys.talking(delay), []);
    equal(keys.talking(30 + delay), [0]);
});

test('a finger that moves a little still taps', () => {
    const keys = touched();
    keys.move('finger', 40, 100 + swipeDistance, 100);
    keys.release('finger', 150);
    equal(stateOf(keys, 0), 'latched');
});

test('a finger that moves further does not latch, but keeps talking', () => {
    const keys = touched();
    keys.move('finger', delay + 10, 101 + swipeDistance, 100);
    equal(keys.talking(delay + 10), [0]);
    keys.release('finger', tapTime - 1);
    equal(stateOf(keys, 0), 'idle');
});

test('a thumb that drifts keeps talking wherever it goes', () => {
    const keys = touched();
    keys.move('finger', long, 130, 100);
    keys.move('finger', long + 10, 500, 400);
    equal(keys.talking(long + 10), [0]);
    keys.release('finger', 9000);
    equal(keys.talking(9000 + hangTime), []);
});

test('a second finger forbids the latch and cuts nothing off', () => {
    const keys = touched();
    keys.forbidLatch();
    equal(keys.talking(delay), [0]);
    keys.release('finger', tapTime - 1);
    equal(stateOf(keys, 0), 'idle');
});

test('a cancelled press tells whether a channel closes', () => {
    const keys = touched();
    equal(keys.cancel('finger', 5000), true);
    equal(keys.cancel('finger', 5001), false);
    const other = touched(latched());
    equal(other.cancelHands(5000), false);
    equal(stateOf(other, 0), 'latched');
});

test('the key for all opens every channel and shows on each', () => {
    const keys = make();
    keys.press('finger', all, 0);
    equal(keys.talking(0), [0, 1]);
    equal([stateOf(keys, 0), stateOf(keys, 1), stateOf(keys, all)], ['held', 'held', 'held']);
    keys.release('finger', long);
    equal(keys.talking(long + hangTime), []);
});

test('a tap on the key for all latches every key, a second one releases them', () => {
    const keys = make();
    keys.press('finger', all, 0);
    keys.release('finger', 50);
    equal([stateOf(keys, 0), stateOf(keys, 1), stateOf(keys, all)], ['latched', 'latched', 'latched']);
    keys.press('finger', all, 1000);
    keys.release('finger', 1050);
    equal([stateOf(keys, 0), stateOf(keys, 1), stateOf(keys, all)], ['idle', 'idle', 'idle']);
});

test('the key for all shows latched once each single key is', () => {
    const keys = latched();
    equal(stateOf(keys, all), 'idle');
    keys.toggle(1, 2000);
    equal(stateOf(keys, all), 'latched');
    keys.toggle(0, 3000);
    equal(stateOf(keys, all), 'idle');
    equal(keys.talking(3000 + hangTime), [1]);
});

test('holding the key for all leaves what was latched latched', () => {
    const keys = latched();
    keys.press('finger', all, 1000);
    equal([stateOf(keys, 0), stateOf(keys, 1), stateOf(keys, all)], ['latched', 'held', 'held']);
    keys.release('finger', 1000 + long);
    equal(keys.talking(1000 + long + hangTime), [0]);
});

test('a second press of another hand turns both taps into holds', () => {
    const keys = make();
    keys.press('Digit1', 0, 0);
    keys.press('Digit2', 1, 20);
    keys.release('Digit1', 40);
    keys.release('Digit2', 60);
    equal([stateOf(keys, 0), stateOf(keys, 1)], ['idle', 'idle']);
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
    equal(stateOf(keys, 0), 'latched');
    keys.toggle(0, 1000);
    equal(stateOf(keys, 0), 'idle');
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
    equal(stateOf(keys, 0), 'idle');
    keys.setUsable(true);
    keys.release('finger', 800);
    equal(keys.talking(800), []);
    equal(keys.press('finger', 0, 900), true);
});
