// How good the line between this device and the desk is. Has no network: it is told the connection's statistics.

const packetsRemembered = 256;

export class LineQuality {
    #ways = { in: new LossShare(), out: new LossShare() };
    #delay = null;

    /** Takes what RTCPeerConnection.getStats() has found. */
    update(reports) {
        const all = [...reports.values()];
        const find = (type, fits = () => true) => all.find((report) => report.type === type && fits(report));
        const received = find('inbound-rtp');
        const sent = find('outbound-rtp');
        const reported = find('remote-inbound-rtp');
        if (received) this.#ways.in.update(received.packetsReceived + received.packetsLost, received.packetsLost);
        if (sent && reported) this.#ways.out.update(sent.packetsSent, reported.packetsLost);
        const pair = find('candidate-pair', ({ nominated, state }) => nominated && state === 'succeeded');
        const seconds = pair?.currentRoundTripTime ?? reported?.roundTripTime;
        if (seconds >= 0) this.#delay = Math.min(60000, Math.round(1000 * seconds));
    }

    /** {loss, delay}: the share of lost packets of the worse direction, and milliseconds there and back; null if unknown. */
    get report() {
        const shares = Object.values(this.#ways).flatMap(({ share }) => share ?? []);
        return { loss: shares.length > 0 ? Math.max(...shares) : null, delay: this.#delay };
    }
}

/** The share of lost packets, smoothed. */
class LossShare {
    #before = null;
    #share = null;

    /** Takes how many packets there were and how many of them were lost since the connection began. */
    update(packets, lost) {
        const before = this.#before ?? { packets: 0, lost: 0 };
        const passed = packets - before.packets;
        if (!(passed > 0)) return;
        this.#before = { packets, lost };
        const share = Math.min(1, Math.max(0, (lost - before.lost) / passed));
        const weight = this.#share === null ? 1 : 1 - (1 - 1 / packetsRemembered) ** passed;
        this.#share = (this.#share ?? 0) + (share - (this.#share ?? 0)) * weight;
    }

    /** Rounded to per cent; null before the first packet. */
    get share() {
        return this.#share === null ? null : Math.round(100 * this.#share) / 100;
    }
}
