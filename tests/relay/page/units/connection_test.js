import { Connection, firstRetry, resumeGrace, timeouts } from '/connection.js';
import { equal, test } from './testing.js';

const noJitter = () => 1;

/** Connected at 1000 ms, to be ticked every 250 ms from then on. */
function connected() {
    const connection = new Connection(noJitter);
    connection.open(0);
    connection.tick(0);
    connection.joined(500);
    connection.peerStateChanged('connected', 800);
    connection.heartbeat(1000);
    connection.tick(1000);
    return connection;
}

/** Ticks until it must join; the time of that, or null if it does not happen before `until`. */
function joinsAt(connection, from, until, alive = () => {}) {
    for (let now = from; now <= until; now += 250) {
        alive(now);
        if (connection.tick(now)) return now;
    }
    return null;
}

/** Heartbeats and packets, as on a good connection. */
function keepGood(connection, from, until) {
    let packets = 0;
    equal(joinsAt(connection, from, until, (now) => {
        packets += 12;
        connection.heartbeat(now);
        connection.packetsReceived(packets, now);
    }), null);
}

test('an opened connection joins at once and is shown as connecting', () => {
    const connection = new Connection(noJitter);
    equal(connection.status, 'closed');
    connection.open(0);
    equal(connection.status, 'connecting');
    equal(connection.tick(0), true);
    equal(connection.tick(1), false);
});

test('it is on air with the peer connection and the first heartbeat, in either order', () => {
    const connection = new Connection(noJitter);
    connection.open(0);
    connection.tick(0);
    connection.joined(100);
    connection.heartbeat(200);
    equal(connection.status, 'connecting');
    connection.peerStateChanged('connected', 300);
    equal(connection.status, 'on-air');
    equal(connected().status, 'on-air');
});

test('a good connection stays', () => {
    const connection = connected();
    keepGood(connection, 1250, 60000);
    equal(connection.status, 'on-air');
});

test('seven seconds without a heartbeat lose the connection', () => {
    const connection = connected();
    let packets = 0;
    const joined = joinsAt(connection, 1250, 20000, (now) => connection.packetsReceived((packets += 12), now));
    equal(connection.lossReason, 'no heartbeat');
    equal(joined, 1000 + timeouts['no heartbeat'] + 250 + firstRetry);
    equal(connection.status, 'lost');
});

test('three seconds without packets lose the connection', () => {
    const connection = connected();
    keepGood(connection, 1250, 5000);
    joinsAt(connection, 5250, 20000, (now) => {
        connection.heartbeat(now);
        connection.packetsReceived(192, now);
    });
    equal(connection.lossReason, 'no packets');
});

test('a connection that never receives a packet is lost too', () => {
    const connection = connected();
    joinsAt(connection, 1250, 20000, (now) => {
        connection.heartbeat(now);
        connection.packetsReceived(null, now);
    });
    equal(connection.lossReason, 'no packets');
});

test('a failed or closed peer connection is a lost one at once', () => {
    for (const state of ['failed', 'closed']) {
        const connection = connected();
        connection.peerStateChanged(state, 2000);
        equal(connection.status, 'lost');
        equal(connection.lossReason, `connection ${state}`);
    }
});

test('a peer connection that comes back within three seconds is kept', () => {
    const connection = connected();
    connection.peerStateChanged('disconnected', 1500);
    keepGood(connection, 1750, 4250);
    connection.peerStateChanged('connected', 4300);
    keepGood(connection, 4500, 20000);
    equal(connection.status, 'on-air');
});

test('a peer connection that stays disconnected for three seconds is a lost one', () => {
    const connection = connected();
    connection.peerStateChanged('disconnected', 1500);
    let packets = 0;
    joinsAt(connection, 1750, 20000, (now) => {
        connection.heartbeat(now);
        connection.packetsReceived((packets += 12), now);
    });
    equal(connection.lossReason, 'disconnected');
});

test('joining that does not connect in time is tried again', () => {
    const connection = new Connection(noJitter);
    connection.open(0);
    connection.tick(0);
    connection.joined(100);
    joinsAt(connection, 250, 30000, (now) => connection.heartbeat(now));
    equal(connection.lossReason, 'not connected');
});

test('retries back off exponentially to five seconds, and start over after a good connection', () => {
    const connection = connected();
    connection.lose('no-response', 1000);
    const waits = [];
    let now = 1000;
    for (let i = 0; i < 6; i += 1) {
        const joined = joinsAt(connection, now, now + 10000);
        waits.push(joined - now);
        now = joined;
        connection.joinFailed('no-response', now);
    }
    equal(waits, [500, 1000, 2000, 4000, 5000, 5000]);
    equal(connection.status, 'lost');

    now = joinsAt(connection, now, now + 10000);
    connection.joined(now);
    connection.peerStateChanged('connected', now);
    connection.heartbeat(now);
    equal(connection.status, 'on-air');
    connection.lose('no-response', now);
    equal(joinsAt(connection, now, now + 10000) - now, 500);
});

test('the backoff has jitter', () => {
    const soonest = new Connection(() => 0);
    soonest.open(0);
    for (const now of [0, 500, 1500]) {
        equal(soonest.tick(now), true);
        soonest.joinFailed('not-now', now);
    }
    equal(joinsAt(soonest, 1500, 10000), 1500 + 1750); // 2000 less a fifth, at the next tick
});

test('when the network or the user is back, the next retry comes at once', () => {
    const connection = connected();
    connection.lose('no-response', 1000);
    for (const now of [1500, 2500, 4500]) {
        connection.tick(now);
        connection.joinFailed('no-response', now);
    }
    equal(connection.tick(4600), false);
    connection.retryNow(4600);
    equal(connection.tick(4600), true);
});

test('retryNow() does not disturb a connection that is on air or being joined', () => {
    const connection = connected();
    connection.retryNow(1100);
    equal(connection.tick(1100), false);
    equal(connection.status, 'on-air');
    connection.lose('no-response', 1200);
    connection.tick(1700);
    connection.retryNow(1800);
    equal(connection.tick(1800), false);
});

test('the rate limit of the desk is kept, even when the network is back', () => {
    const connection = new Connection(noJitter);
    connection.open(0);
    connection.tick(0);
    connection.joinFailed('slow-down', 0, 5);
    connection.retryNow(1000);
    equal(joinsAt(connection, 1000, 10000), 5000);
});

test('a desk that is off air is tried every three seconds', () => {
    const connection = connected();
    connection.goodbye('off-air', 1000);
    equal(connection.status, 'off-air');
    equal(joinsAt(connection, 1000, 10000), 4000);
    connection.joinFailed('no-response', 4000);
    equal(connection.status, 'off-air');
    equal(joinsAt(connection, 4000, 20000), 7000);
    connection.joined(7100);
    equal(connection.status, 'connecting');
});

test('a session that the desk dropped or replaced is joined again', () => {
    for (const reason of ['silent', 'replaced']) {
        const connection = connected();
        connection.goodbye(reason, 1000);
        equal(connection.status, 'lost');
        equal(joinsAt(connection, 1000, 5000), 1500);
    }
});

test('a role or a code that is no longer valid ends the connection', () => {
    for (const error of ['no-such-role', 'wrong-code']) {
        const connection = connected();
        connection.lose('no-such-session', 1000);
        connection.tick(1500);
        connection.joinFailed(error, 1600);
        equal(connection.status, 'ended');
        equal(connection.finalError, error);
        equal(joinsAt(connection, 1750, 30000), null);
    }
});

test('a full desk ends the first attempt, but is tried again by those who were connected', () => {
    const first = new Connection(noJitter);
    first.open(0);
    first.tick(0);
    first.joinFailed('full', 100);
    equal(first.finalError, 'full');

    const connection = connected();
    connection.lose('no-response', 1000);
    connection.tick(1500);
    connection.joinFailed('full', 1600);
    equal(connection.status, 'lost');
    equal(connection.tick(1600 + 1000), true);
});

test('a page that was suspended does not take that for a lost connection', () => {
    const connection = connected();
    keepGood(connection, 1250, 5000);
    equal(connection.tick(65000), false);
    equal(connection.status, 'on-air');
    connection.heartbeat(65100);
    connection.packetsReceived(9000, 65100);
    equal(connection.tick(65250), false);
    equal(connection.status, 'on-air');
});

test('a connection that broke while the page was suspended is lost soon after', () => {
    const connection = connected();
    keepGood(connection, 1250, 5000);
    joinsAt(connection, 65000, 65000 + resumeGrace + 1500);
    equal(connection.status, 'lost');
});

test('rejoin() joins at once without being shown as lost', () => {
    const connection = connected();
    connection.rejoin(2000);
    equal(connection.status, 'connecting');
    equal(connection.isIdle, true);
    equal(connection.tick(2000), true);
});

test('events of an older session change nothing', () => {
    const connection = connected();
    connection.lose('no-response', 1000);
    connection.heartbeat(1100);
    connection.peerStateChanged('connected', 1100);
    connection.goodbye('off-air', 1100);
    connection.lose('no-response', 1100);
    equal(connection.status, 'lost');
    equal(joinsAt(connection, 1250, 5000), 1500);
});

test('a closed connection does nothing', () => {
    const connection = connected();
    connection.close();
    equal(connection.status, 'closed');
    connection.lose('no-response', 1100);
    connection.retryNow(1100);
    equal(joinsAt(connection, 1250, 30000), null);
});
