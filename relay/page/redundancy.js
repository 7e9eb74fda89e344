// When to send copies of earlier packets with each packet (RED). Has no network: it is told the connection's statistics.

const packetsRemembered = 256;
const high = 0.05; // share of lost packets
const noMoreHigh = 0.02;

export class Redundancy {
    #before = null;
    #share = 0;
    #isOn = false;

    /** True while packets should carry copies: while many are lost. */
    get isOn() {
        return this.#isOn;
    }

    /** `sent` and `reported` are the statistics outbound-rtp and remote-inbound-rtp (or undefined). */
    update(sent, reported) {
        // A lost packet is sent again when the desk asks for it, or is reported lost if it did not ask or ask in vain.
        const again = sent.retransmittedPacketsSent ?? 0;
        const now = { sent: sent.packetsSent - again, lost: again + (reported?.packetsLost ?? 0) };
        const before = this.#before ?? now;
        this.#before = now;
        const packets = now.sent - before.sent;
        if (packets <= 0) return;
        const lost = Math.min(1, Math.max(0, (now.lost - before.lost) / packets));
        this.#share += (lost - this.#share) * (1 - (1 - 1 / packetsRemembered) ** packets);
        this.#isOn = this.#share > (this.#isOn ? noMoreHigh : high);
    }
}
