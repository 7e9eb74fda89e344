import { LineQuality } from '/line-quality.js';
import { equal, test } from './testing.js';

/** A connection's statistics, as a browser has them after so many packets. */
function statistics({ received = 0, lost = 0, sent = 0, reported = null, delay = null, remoteDelay = null }) {
    const reports = [
        { type: 'inbound-rtp', packetsReceived: received, packetsLost: lost },
        { type: 'outbound-rtp', packetsSent: sent },
        { type: 'candidate-pair', nominated: false, state: 'succeeded', currentRoundTripTime: 9 },
    ];
    if (reported !== null) {
        reports.push({ type: 'remote-inbound-rtp', packetsLost: reported, roundTripTime: remoteDelay ?? undefined });
    }
    if (delay !== null) {
        reports.push({ type: 'candidate-pair', nominated: true, state: 'succeeded', currentRoundTripTime: delay });
    }
    return new Map(reports.map((report, index) => [index, report]));
}

test('before there is a packet nothing is known of the line', () => {
    const line = new LineQuality();
    equal(line.report, { loss: null, delay: null });
    line.update(statistics({}));
    equal(line.report, { loss: null, delay: null });
});

test('the loss of a line is that of its worse direction', () => {
    const line = new LineQuality();
    line.update(statistics({ received: 90, lost: 10, sent: 100, reported: 0 }));
    equal(line.report.loss, 0.1);
    const other = new LineQuality();
    other.update(statistics({ received: 100, sent: 100, reported: 30 }));
    equal(other.report.loss, 0.3);
});

test('a line that has become good again is shown as good', () => {
    const line = new LineQuality();
    line.update(statistics({ received: 50, lost: 50 }));
    line.update(statistics({ received: 10050, lost: 50 }));
    equal(line.report.loss, 0);
});

test('packets that come after they were counted as lost do not make the loss negative', () => {
    const line = new LineQuality();
    line.update(statistics({ received: 95, lost: 5 }));
    line.update(statistics({ received: 200, lost: 2 }));
    equal(line.report.loss >= 0, true);
});

test('the delay of a line is that of the way in use, or what the desk reports', () => {
    const line = new LineQuality();
    line.update(statistics({ delay: 0.0124 }));
    equal(line.report.delay, 12);
    const other = new LineQuality();
    other.update(statistics({ sent: 10, reported: 0, remoteDelay: 0.08 }));
    equal(other.report.delay, 80);
});
