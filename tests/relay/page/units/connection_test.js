import {
    comingBackRetry,
    comingBackTime,
    Connection,
    eventsTimeout,
    firstRetry,
    respondingTimeout,
    resumeGrace,
    timeouts,
} from '/connection.js';
import { firstInterval, maxPacketGap } from '/second-way.js';
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

let packets = 0;

/** What comes on a good connection. */
function goodAt(connection, now) {
    packets += 12;
    connection.heartbeat(now);
    connection.packetsReceived(packets, now);
    connection.responded(now);
}

function keepGood(connection, from, until) {
    equal(joinsAt(connection, from, until, (now) => goodAt(connection, now)), null);
}

/** How often it wants a second way, asked every 250 ms. */
function secondWays(connection, from, until) {
    const times = [];
    for (let now = from; now <= until; now += 250) if (connection.mustTrySecondWay(now)) times.push(now);
    return times;
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

test('seven seconds without a heartbeat interrupt the connection', () => {
    const connection = connected();
    let now = 1250;
    for (; connection.status === 'on-air'; now += 250) {
        connection.packetsReceived((packets += 12), now);
        connection.tick(now);
    }
    equal(now, 1000 + timeouts['no heartbeat'] + 500);
    equal([connection.status, connection.lossReason], ['lost', 'no heartbeat']);
    goodAt(connection, now);
    connection.tick(now);
    equal(connection.status, 'on-air');
});

test('three seconds without packets interrupt the connection, which is kept', () => {
    const connection = connected();
    keepGood(connection, 1250, 5000);
    equal(joinsAt(connection, 5250, 25000, (now) => connection.heartbeat(now)), null);
    equal([connection.status, connection.lossReason], ['lost', 'no packets']);
    equal([connection.isInterrupted, connection.isIdle], [true, false]);
});

test('an interrupted connection whose packets are back is on air again without joining', () => {
    const connection = connected();
    joinsAt(connection, 1250, 9000);
    equal(connection.isInterrupted, true);
    keepGood(connection, 9250, 60000);
    equal([connection.status, connection.isInterrupted], ['on-air', false]);
});

test('an interrupted connection to a desk that responds is joined again soon', () => {
    const connection = connected();
    keepGood(connection, 1250, 5000);
    const joined = joinsAt(connection, 5250, 25000, (now) => {
        connection.heartbeat(now);
        connection.responded(now);
    });
    equal(connection.lossReason, 'no packets');
    const responded = 5000 + timeouts['no packets'] + 500;
    equal(joined, responded + respondingTimeout + firstRetry);
});

test('responses before the interruption say nothing about it', () => {
    const connection = connected();
    keepGood(connection, 1250, 5000);
    joinsAt(connection, 5250, 8000, (now) => connection.responded(now));
    equal(joinsAt(connection, 8250, 30000), null);
});

test('a connection that never receives a packet is interrupted too', () => {
    const connection = connected();
    joinsAt(connection, 1250, 20000, (now) => {
        connection.heartbeat(now);
        connection.packetsReceived(null, now);
    });
    equal(connection.lossReason, 'no packets');
});

test('a peer connection that fails is interrupted, and may recover', () => {
    const connection = connected();
    connection.peerStateChanged('failed', 2000);
    equal(connection.tick(2250), false);
    equal([connection.status, connection.lossReason], ['lost', 'connection failed']);
    connection.peerStateChanged('connected', 2300);
    connection.tick(2500);
    equal(connection.status, 'on-air');
});

test('a peer connection that is closed, or fails before it connects, is lost at once', () => {
    const closed = connected();
    closed.peerStateChanged('closed', 2000);
    equal([closed.status, closed.isIdle, closed.lossReason], ['lost', true, 'connection closed']);

    const connecting = new Connection(noJitter);
    connecting.open(0);
    connecting.tick(0);
    connecting.joined(100);
    connecting.peerStateChanged('failed', 200);
    equal([connecting.isIdle, connecting.lossReason], [true, 'connection failed']);
});

test('300 ms without packets ask for a second way, and the first one is kept', () => {
    const connection = connected();
    goodAt(connection, 1250);
    equal(connection.mustTrySecondWay(1250 + maxPacketGap - 1), false);
    equal(connection.mustTrySecondWay(1250 + maxPacketGap), true);
    equal([connection.status, connection.isInterrupted], ['on-air', false]);
});

test('one second way is tried at a time, with exponential backoff', () => {
    const connection = connected();
    goodAt(connection, 1000);
    equal(secondWays(connection, 1250, 34000), [1500, 2000, 3000, 5000, 9000, 17000, 25000, 33000]);
});

test('each gap is answered by a second way at once', () => {
    const connection = connected();
    for (const from of [1000, 3000, 5000]) {
        goodAt(connection, from);
        equal(secondWays(connection, from + 250, from + 1500), [from + 500, from + 1000]);
    }
});

test('a network that is bad all the time is not answered by many second ways', () => {
    const connection = connected();
    let ways = 0;
    for (let now = 1000; now < 601000; now += 1000) {
        goodAt(connection, now);
        ways += secondWays(connection, now, now + 750).length;
    }
    equal(ways, 40 + 600 / 30 - 1);
    connection.networkChanged();
    equal(connection.mustTrySecondWay(601000), true);
});

test('second ways of a crew that lost its network together are spread by jitter', () => {
    const next = [0, 0.5, 1].map((random) => {
        const connection = new Connection(() => random);
        connection.open(0);
        connection.tick(0);
        connection.joined(0);
        connection.peerStateChanged('connected', 0);
        connection.heartbeat(0);
        equal(connection.mustTrySecondWay(20000), true);
        let now = 20000;
        while (!connection.mustTrySecondWay(now)) now += 1;
        return now - 20000;
    });
    equal(next, [0.5, 0.75, 1].map((part) => part * firstInterval));
});

test('a desk that responds while audio is missing has a second way tried at once', () => {
    const connection = connected();
    goodAt(connection, 1000);
    joinsAt(connection, 1250, 5000);
    equal(secondWays(connection, 1250, 5000).at(-1), 5000);
    equal(connection.mustTrySecondWay(5500), false);
    connection.responded(5500);
    equal([connection.mustTrySecondWay(5500), connection.mustTrySecondWay(5750)], [true, false]);
    connection.responded(6000);
    equal(connection.mustTrySecondWay(6000), false);
    equal([connection.mustReopenEvents(6000), connection.mustReopenEvents(6250)], [true, false]);
});

test('packets that are back after a second way are told once', () => {
    const connection = connected();
    connection.packetsReceived(1, 1000);
    equal(connection.packetsReceived(2, 1200), false);
    connection.mustTrySecondWay(2000);
    equal(connection.packetsReceived(2, 2100), false);
    equal(connection.packetsReceived(3, 2200), true);
    equal(connection.packetsReceived(4, 2300), false);
});

test('a phone that changed networks tries a second way at once, and its connection stays', () => {
    for (const change of [
        (connection) => connection.networkChanged(),
        (connection) => connection.peerStateChanged('disconnected', 1300),
        (connection) => connection.peerStateChanged('failed', 1300),
    ]) {
        const connection = connected();
        goodAt(connection, 1250);
        equal(connection.mustTrySecondWay(1300), false);
        change(connection);
        equal([connection.mustTrySecondWay(1300), connection.mustTrySecondWay(1301)], [true, false]);
        equal([connection.status, connection.isIdle], ['on-air', false]);
    }
});

test('no second way is tried before the first one has connected', () => {
    const connection = new Connection(noJitter);
    connection.open(0);
    connection.tick(0);
    connection.joined(100);
    connection.networkChanged();
    equal(secondWays(connection, 250, 9000), []);
});

test('events are opened again when heartbeats are missing, and not in between', () => {
    const connection = connected();
    const times = [];
    for (let now = 1250; now < 10750; now += 250) if (connection.mustReopenEvents(now)) times.push(now);
    equal(times, [1000 + eventsTimeout, 1000 + 2 * eventsTimeout]);
});

test('a peer connection that comes back within three seconds is kept', () => {
    const connection = connected();
    connection.peerStateChanged('disconnected', 1500);
    keepGood(connection, 1750, 4250);
    connection.peerStateChanged('connected', 4300);
    keepGood(connection, 4500, 20000);
    equal(connection.status, 'on-air');
});

test('a peer connection that stays disconnected for three seconds is interrupted', () => {
    const connection = connected();
    connection.peerStateChanged('disconnected', 1500);
    joinsAt(connection, 1750, 20000, (now) => goodAt(connection, now));
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
    for (const now of [0, 0, 500]) {
        equal(soonest.tick(now), true);
        soonest.joinFailed('not-now', now);
    }
    equal(joinsAt(soonest, 500, 10000), 500 + 1000); // half of 2000
});

test('the first retries of a crew are spread over the window that the desk tells', () => {
    for (const [random, wait] of [[0, 0], [0.5, 1000], [1, 2000]]) {
        const connection = new Connection(() => random);
        connection.open(0);
        connection.tick(0);
        connection.joined(0);
        connection.spreadRetries(2000);
        connection.lose('no-such-session', 1000);
        equal(joinsAt(connection, 1000, 10000), 1000 + wait);
    }
});

test('a desk that is busy is asked again when it says', () => {
    const connection = new Connection(noJitter);
    connection.open(0);
    connection.tick(0);
    connection.joinFailed('not-now', 0, 1.5);
    connection.retryNow(500);
    equal(joinsAt(connection, 500, 10000), 1500);
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

/** When it joins, by its own time to retry, in milliseconds after `from`; every try fails until `until`. */
function retryTimes(connection, from, until) {
    const times = [];
    for (let now = from; now <= until; now += connection.timeToRetry(now) || 1) {
        if (!connection.tick(now)) continue;
        times.push(now - from);
        connection.joinFailed('no-response', now);
    }
    return times;
}

test('a desk that went off air is tried often for a minute, then every three seconds', () => {
    const connection = connected();
    connection.goodbye('off-air', 1000);
    equal(connection.status, 'off-air');
    const times = retryTimes(connection, 1000, 1000 + comingBackTime + 10000);
    equal(times.slice(0, 3), [1, 2, 3].map((count) => count * comingBackRetry));
    equal(times.at(-1) - times.at(-2), 3000);
    equal(times.filter((time) => time <= comingBackTime).length, comingBackTime / comingBackRetry);
    equal(connection.status, 'off-air');
    connection.tick(1000 + comingBackTime + 20000);
    connection.joined(1000 + comingBackTime + 20000);
    equal(connection.status, 'connecting');
});

test('a desk that hands over is joined again at the time that it tells, and the connection is shown as lost', () => {
    const connection = connected();
    connection.goodbye('handed-over', 1000, 240);
    equal([connection.status, connection.isIdle, connection.timeToRetry(1000)], ['lost', true, 240]);
    equal([connection.tick(1239), connection.tick(1240)], [false, true]);
    connection.joined(1300);
    equal([connection.status, connection.timeToRetry(1300)], ['connecting', null]);
});

test('a desk that is not on air yet after a hand-over is tried soon, again and again', () => {
    const connection = connected();
    connection.goodbye('handed-over', 1000, 100);
    equal(retryTimes(connection, 1000, 3000), [0, 1, 2, 3].map((count) => 100 + count * comingBackRetry));
});

test('a large crew asks a desk that is coming back no more often than it can take them', () => {
    for (const goodbye of [['off-air', 1000], ['handed-over', 1000, 5000]]) {
        const connection = connected();
        connection.spreadRetries(5000);
        connection.goodbye(...goodbye);
        equal(retryTimes(connection, 1000, 12000), [5000, 10000]);
    }
});

test('a connection that is lost after the desk has come back has the usual backoff', () => {
    const connection = connected();
    connection.goodbye('handed-over', 1000, 0);
    connection.tick(1000);
    connection.joined(1100);
    connection.peerStateChanged('connected', 1200);
    connection.heartbeat(1200);
    connection.lose('no-response', 2000);
    equal(retryTimes(connection, 2000, 4000), [500, 1500]);
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

test('a connection that broke while the page was suspended is interrupted soon after', () => {
    const connection = connected();
    keepGood(connection, 1250, 5000);
    joinsAt(connection, 65000, 65000 + resumeGrace + 500);
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
