import { StatePosts } from '/state-posts.js';
import { equal, test } from './testing.js';

/** A desk that answers when the test says so. */
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

/** Lets every promise that can go on do so. */
const settled = () => new Promise((resolve) => setTimeout(resolve, 0));

test('a change is posted at once, with the number 1', () => {
    const desk = new SlowDesk();
    new StatePosts(() => ({ talk: [0] }), desk.send, () => {}).changed();
    equal(desk.sent, [{ number: 1, talk: [0] }]);
});

test('never are two posts under way, and the newest state wins', async () => {
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

test('a sign of life is a post, unless one is under way', async () => {
    const desk = new SlowDesk();
    const posts = new StatePosts(() => ({}), desk.send, () => {});
    posts.signOfLife();
    posts.signOfLife();
    equal(desk.sent.length, 1);
    await desk.takes();
    equal(desk.sent.length, 1);
    posts.signOfLife();
    equal(desk.sent.length, 2);
});

test('what goes on changing is posted once in a while, and a key at once', async () => {
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

test('a refused post is told, and the next change is posted all the same', async () => {
    const desk = new SlowDesk();
    const told = [];
    const posts = new StatePosts(() => ({}), desk.send, (error) => told.push(error));
    posts.changed();
    await desk.refuses('no-answer');
    equal(told, ['no-answer']);
    posts.changed();
    equal(desk.sent.map(({ number }) => number), [1, 2]);
});

test('after the stop nothing is posted and nothing is told', async () => {
    const desk = new SlowDesk();
    const told = [];
    const posts = new StatePosts(() => ({}), desk.send, (error) => told.push(error));
    posts.changed();
    posts.changed();
    posts.stop();
    await desk.refuses('no-answer');
    posts.changed();
    equal(desk.sent.length, 1);
    equal(told, []);
});
