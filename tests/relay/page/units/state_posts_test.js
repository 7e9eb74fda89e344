import { StatePosts } from '/state-posts.js';
import { equal, test } from './testing.js';

/** A desk that responds when the test says so. */
class SlowDesk {
    sent = [];
    waiting = [];
    send = (state) => {
        this.sent.push(state);
        return new Promise((resolve, reject) => this.waiting.push({ resolve, reject }));
    };
    async takes() {
        this.waiting.shift().resolve();
        await settled();
    }
    async refuses(error) {
        this.waiting.shift().reject(error);
        await settled();
    }
}

/** Runs every promise callback that is ready. */
const settled = () => new Promise((resolve) => setTimeout(resolve, 0));

test('a change is posted at once, with the number 1', () => {
    const desk = new SlowDesk();
    new StatePosts(() => ({ talk: [0] }), desk.send, () => {}).changed();
    equal(desk.sent, [{ number: 1, talk: [0] }]);
});

test('there are never two posts in flight, and the newest state wins', async () => {
    const desk = new SlowDesk();
    let talk = [0];
    const posts = new StatePosts(() => ({ talk }), desk.send, () => {});
    posts.changed();
    for (talk of [[1], [2], [3]]) posts.changed();
    equal(desk.sent.length, 1);
    await desk.takes();
    equal(desk.sent, [
        { number: 1, talk: [0] },
        { number: 2, talk: [3] },
    ]);
    await desk.takes();
    equal(desk.sent.length, 2);
});

test('a keep-alive is a post, unless one is in flight', async () => {
    const desk = new SlowDesk();
    const posts = new StatePosts(() => ({}), desk.send, () => {});
    posts.keepAlive();
    posts.keepAlive();
    equal(desk.sent.length, 1);
    await desk.takes();
    equal(desk.sent.length, 1);
    posts.keepAlive();
    equal(desk.sent.length, 2);
});

test('what keeps changing is throttled, and a key is posted at once', async () => {
    const desk = new SlowDesk();
    let level = 1;
    const due = [];
    const posts = new StatePosts(() => ({ level }), desk.send, () => {}, (call) => due.push(call));
    for (level of [0.9, 0.8, 0.7]) posts.isChanging();
    equal([desk.sent.length, due.length], [0, 1]);
    due.shift()();
    equal(desk.sent, [{ number: 1, level: 0.7 }]);
    await desk.takes();
    level = 0.6;
    posts.isChanging();
    posts.changed();
    equal(desk.sent[1], { number: 2, level: 0.6 });
});

test('a failed post is reported, and the next change is posted all the same', async () => {
    const desk = new SlowDesk();
    const told = [];
    const posts = new StatePosts(() => ({}), desk.send, (error) => told.push(error));
    posts.changed();
    await desk.refuses('no-response');
    equal(told, ['no-response']);
    posts.changed();
    equal(desk.sent.map(({ number }) => number), [1, 2]);
});

test('a post that is stuck is given up for a new one', async () => {
    const told = [];
    const sent = [];
    const send = (state, signal) => {
        sent.push(state);
        return new Promise((resolve, reject) => signal.addEventListener('abort', reject));
    };
    let talk = [0];
    const posts = new StatePosts(() => ({ talk }), send, (error) => told.push(error));
    posts.changed();
    talk = [1];
    posts.resend();
    await settled();
    equal(sent, [
        { number: 1, talk: [0] },
        { number: 2, talk: [1] },
    ]);
    equal(told, []);
});

test('what failed is sent again once, however often that is asked for', async () => {
    const desk = new SlowDesk();
    const due = [];
    const later = (call, time) => due.push({ call, time });
    const posts = new StatePosts(() => ({}), desk.send, () => posts.changeIn(500), later);
    posts.changed();
    await desk.refuses('no-response');
    posts.changed();
    await desk.refuses('no-response');
    equal(due.map(({ time }) => time), [500]);
    due[0].call();
    equal(desk.sent.length, 3);
});

test('after stop() nothing is posted or reported', async () => {
    const desk = new SlowDesk();
    const told = [];
    const posts = new StatePosts(() => ({}), desk.send, (error) => told.push(error));
    posts.changed();
    posts.changed();
    posts.stop();
    await desk.refuses('no-response');
    posts.changed();
    equal(desk.sent.length, 1);
    equal(told, []);
});
