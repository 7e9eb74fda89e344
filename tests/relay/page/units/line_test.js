import { Line, lineTimes } from '/line.js';
import { equal, test } from './testing.js';

const steady = { random: () => 1 };

/** A line that is up at 1000 ms, ticked every 250 ms from then on. */
function up() {
    const line = new Line(steady);
    line.open(0);
    line.tick(0);
    line.joined(500);
    line.connection('connected', 800);
    line.sign(1000);
    line.tick(1000);
    return line;
}

/** Ticks until the line wants to join; the time of it, or null if that does not come before `until`. */
function joinsAt(line, from, until, alive = () => {}) {
    for (let now = from; now <= until; now += 250) {
        alive(now);
        if (line.tick(now)) return now;
    }
    return null;
}

/** Events and packets, as on a good line. */
function wellUntil(line, from, until) {
    let packets = 0;
    equal(joinsAt(line, from, until, (now) => {
        packets += 12;
        line.sign(now);
        line.packets(packets, now);
    }), null);
}

test('an opened line joins at once and says that it connects', () => {
    const line = new Line(steady);
    equal(line.shown, 'closed');
    line.open(0);
    equal(line.shown, 'connecting');
    equal(line.tick(0), true);
    equal(line.tick(1), false);
});

test('the line is up with the connection and the first event, in either order', () => {
    const line = new Line(steady);
    line.open(0);
    line.tick(0);
    line.joined(100);
    line.sign(200);
    equal(line.shown, 'connecting');
    line.connection('connected', 300);
    equal(line.shown, 'on-air');
    equal(up().shown, 'on-air');
});

test('a good line stays up', () => {
    const line = up();
    wellUntil(line, 1250, 60000);
    equal(line.shown, 'on-air');
});

test('no event for seven seconds loses the line', () => {
    const line = up();
    let packets = 0;
    const joined = joinsAt(line, 1250, 20000, (now) => line.packets((packets += 12), now));
    equal(line.why, 'no events');
    equal(joined, 1000 + lineTimes.eventsDead + 250 + lineTimes.firstWait);
    equal(line.shown, 'lost');
});

test('packets that stand still for three seconds lose the line', () => {
    const line = up();
    wellUntil(line, 1250, 5000);
    joinsAt(line, 5250, 20000, (now) => {
        line.sign(now);
        line.packets(192, now);
    });
    equal(line.why, 'no packets');
});

test('a line over which no packet ever comes is lost too', () => {
    const line = up();
    joinsAt(line, 1250, 20000, (now) => {
        line.sign(now);
        line.packets(null, now);
    });
    equal(line.why, 'no packets');
});

test('a failed or closed connection loses the line at once', () => {
    for (const state of ['failed', 'closed']) {
        const line = up();
        line.connection(state, 2000);
        equal(line.shown, 'lost');
        equal(line.why, `connection ${state}`);
    }
});

test('a connection that comes back within three seconds is kept', () => {
    const line = up();
    line.connection('disconnected', 1500);
    wellUntil(line, 1750, 4250);
    line.connection('connected', 4300);
    wellUntil(line, 4500, 20000);
    equal(line.shown, 'on-air');
});

test('a connection that stays away for three seconds loses the line', () => {
    const line = up();
    line.connection('disconnected', 1500);
    let packets = 0;
    joinsAt(line, 1750, 20000, (now) => {
        line.sign(now);
        line.packets((packets += 12), now);
    });
    equal(line.why, 'disconnected');
});

test('joining that leads to no line within its time is tried again', () => {
    const line = new Line(steady);
    line.open(0);
    line.tick(0);
    line.joined(100);
    joinsAt(line, 250, 30000, (now) => line.sign(now));
    equal(line.why, 'not up');
});

test('tries come further and further apart, up to five seconds, and soon again after a good line', () => {
    const line = up();
    line.gone('no-answer', 1000);
    const waits = [];
    let now = 1000;
    for (let i = 0; i < 6; i += 1) {
        const joined = joinsAt(line, now, now + 10000);
        waits.push(joined - now);
        now = joined;
        line.refused('no-answer', now);
    }
    equal(waits, [500, 1000, 2000, 4000, 5000, 5000]);
    equal(line.shown, 'lost');

    now = joinsAt(line, now, now + 10000);
    line.joined(now);
    line.connection('connected', now);
    line.sign(now);
    equal(line.shown, 'on-air');
    line.gone('no-answer', now);
    equal(joinsAt(line, now, now + 10000) - now, 500);
});

test('the waits of a whole crew are not all the same', () => {
    const soonest = new Line({ random: () => 0 });
    soonest.open(0);
    for (const now of [0, 500, 1500]) {
        equal(soonest.tick(now), true);
        soonest.refused('not-now', now);
    }
    equal(joinsAt(soonest, 1500, 10000), 1500 + 1750); // 2000 less a fifth, at the next tick
});

test('the network coming back or the person makes the next try at once', () => {
    const line = up();
    line.gone('no-answer', 1000);
    for (const now of [1500, 2500, 4500]) {
        line.tick(now);
        line.refused('no-answer', now);
    }
    equal(line.tick(4600), false);
    line.hasten(4600);
    equal(line.tick(4600), true);
});

test('hastening does not disturb a line that is up or being joined', () => {
    const line = up();
    line.hasten(1100);
    equal(line.tick(1100), false);
    equal(line.shown, 'on-air');
    line.gone('no-answer', 1200);
    line.tick(1700);
    line.hasten(1800);
    equal(line.tick(1800), false);
});

test('a desk that says slow down is left alone for that long, whatever comes back', () => {
    const line = new Line(steady);
    line.open(0);
    line.tick(0);
    line.refused('slow-down', 0, 5);
    line.hasten(1000);
    equal(joinsAt(line, 1000, 10000), 5000);
});

test('off air is tried quietly every three seconds, until it is on air again', () => {
    const line = up();
    line.goodbye('off-air', 1000);
    equal(line.shown, 'off-air');
    equal(joinsAt(line, 1000, 10000), 4000);
    line.refused('no-answer', 4000);
    equal(line.shown, 'off-air');
    equal(joinsAt(line, 4000, 20000), 7000);
    line.joined(7100);
    equal(line.shown, 'connecting');
});

test('a session that the desk dropped or replaced is joined anew', () => {
    for (const reason of ['silent', 'replaced']) {
        const line = up();
        line.goodbye(reason, 1000);
        equal(line.shown, 'lost');
        equal(joinsAt(line, 1000, 5000), 1500);
    }
});

test('a role or a code that is no more ends the line', () => {
    for (const error of ['no-such-role', 'wrong-code']) {
        const line = up();
        line.gone('no-such-session', 1000);
        line.tick(1500);
        line.refused(error, 1600);
        equal(line.shown, 'ended');
        equal(line.ended, error);
        equal(joinsAt(line, 1750, 30000), null);
    }
});

test('a full desk ends the first joining, but is tried again by those who were there', () => {
    const first = new Line(steady);
    first.open(0);
    first.tick(0);
    first.refused('full', 100);
    equal(first.ended, 'full');

    const line = up();
    line.gone('no-answer', 1000);
    line.tick(1500);
    line.refused('full', 1600);
    equal(line.shown, 'lost');
    equal(line.tick(1600 + 1000), true);
});

test('a page that slept does not take its own sleep for a dead line', () => {
    const line = up();
    wellUntil(line, 1250, 5000);
    equal(line.tick(65000), false);
    equal(line.shown, 'on-air');
    line.sign(65100);
    line.packets(9000, 65100);
    equal(line.tick(65250), false);
    equal(line.shown, 'on-air');
});

test('a line that died during the sleep is lost soon after it', () => {
    const line = up();
    wellUntil(line, 1250, 5000);
    joinsAt(line, 65000, 65000 + lineTimes.grace + 1500);
    equal(line.shown, 'lost');
});

test('a renewed line joins at once without being called lost', () => {
    const line = up();
    line.renew(2000);
    equal(line.shown, 'connecting');
    equal(line.rests, true);
    equal(line.tick(2000), true);
});

test('what belongs to an older session changes nothing', () => {
    const line = up();
    line.gone('no-answer', 1000);
    line.sign(1100);
    line.connection('connected', 1100);
    line.goodbye('off-air', 1100);
    line.gone('no-answer', 1100);
    equal(line.shown, 'lost');
    equal(joinsAt(line, 1250, 5000), 1500);
});

test('a closed line does nothing', () => {
    const line = up();
    line.close();
    equal(line.shown, 'closed');
    line.gone('no-answer', 1100);
    line.hasten(1100);
    equal(joinsAt(line, 1250, 30000), null);
});
