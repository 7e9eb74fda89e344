// When a second way to the desk is to be tried beside the present one (ICE restart): after a gap in the packets, or
// when there is reason to believe that this device has changed networks. With exponential backoff, and limited by a
// token bucket: each try costs a port that some browsers keep until the call ends.
// Has no clock: times are milliseconds of a monotonic clock.

export const maxPacketGap = 300; // milliseconds, as all below
export const firstInterval = 500; // doubles with every try in a gap
const maxInterval = 8000;
const minInterval = 250; // whatever the reason
const bucketSize = 40;
const refillTime = 30000; // for one more try

export class SecondWay {
    #random;
    #packetsAt = 0; // when the newest packet came
    #isWanted = false;
    #tries = 0; // since the newest packet
    #triedAt = -Infinity;
    #nextTry = 0;
    #tokens = bucketSize;
    #tokensAt = 0; // when they were counted

    /** Packets are expected from `now` on. `random` gives numbers from 0 to 1, for jitter. */
    constructor(now, random) {
        this.#packetsAt = now;
        this.#tokensAt = now;
        this.#random = random;
    }

    /** True if packets are back after a second way was tried. */
    packetsReceived(now) {
        const areBack = this.#tries > 0;
        this.#packetsAt = now;
        this.#tries = 0;
        this.#nextTry = 0;
        return areBack;
    }

    /** There is more reason for it than a gap. */
    want() {
        this.#isWanted = true;
    }

    /** True when it must be tried now. */
    mustTry(now) {
        if (now - this.#triedAt < minInterval) return false;
        this.#tokens = Math.min(bucketSize, this.#tokens + (now - this.#tokensAt) / refillTime);
        this.#tokensAt = now;
        const isDue = now - this.#packetsAt >= maxPacketGap && now >= this.#nextTry && this.#tokens >= 1;
        if (!isDue && !this.#isWanted) return false;
        const wait = Math.min(maxInterval, firstInterval * 2 ** this.#tries);
        this.#tries = Math.min(this.#tries + 1, 16);
        this.#tokens = Math.max(0, this.#tokens - 1);
        this.#triedAt = now;
        this.#nextTry = now + wait * (0.5 + 0.5 * this.#random());
        this.#isWanted = false;
        return true;
    }
}
