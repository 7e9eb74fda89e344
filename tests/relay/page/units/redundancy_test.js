import { Redundancy } from '/redundancy.js';
import { equal, test } from './testing.js';

/** A connection's statistics: 50 packets a second, of which some are lost. */
class Line {
    redundancy = new Redundancy();
    sent = 0;
    again = 0;
    reportedLost = 0;

    /** `share` of the packets is asked for again, and `reported` is reported as lost for good. Returns isOn. */
    pass(seconds, share, reported = 0) {
        for (let half = 0; half < 2 * seconds; half += 1) {
            this.sent += 25;
            this.again += 25 * share;
            this.reportedLost += 25 * reported;
            this.redundancy.update(
                { packetsSent: this.sent + this.again, retransmittedPacketsSent: this.again },
                { packetsLost: this.reportedLost },
            );
        }
        return this.redundancy.isOn;
    }
}

test('without loss there are no copies', () => {
    const line = new Line();
    equal(line.pass(60, 0), false);
    equal(line.pass(60, 0.015), false);
});

test('while many packets are asked for again there are copies', () => {
    const line = new Line();
    line.pass(10, 0);
    equal(line.pass(5, 0.1), true);
    equal(line.pass(60, 0.03), true);
    equal(line.pass(20, 0.01), false);
});

test('packets that are reported lost count, too', () => {
    equal(new Line().pass(5, 0, 0.1), true);
});

test('a browser that does not say what it sends again and a desk that has not reported are no loss', () => {
    const redundancy = new Redundancy();
    for (let sent = 0; sent < 1000; sent += 50) redundancy.update({ packetsSent: sent }, undefined);
    equal(redundancy.isOn, false);
});

test('what was lost before it began does not count', () => {
    const redundancy = new Redundancy();
    redundancy.update({ packetsSent: 1000, retransmittedPacketsSent: 500 }, { packetsLost: 400 });
    redundancy.update({ packetsSent: 1050, retransmittedPacketsSent: 500 }, { packetsLost: 400 });
    equal(redundancy.isOn, false);
});
