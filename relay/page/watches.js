// What has to be noticed while a key is open. Without clocks of their own: they are told the time, in milliseconds.

/** Timers of a page that is seen run every second at least; a longer pause means that the device slept. */
export const maxPause = 3000;

/** Whether this device slept: then no one knows who holds it now. */
export class SleepWatch {
    #last;

    /** Times are those of the wall clock: others stop while a device sleeps. */
    constructor(now) {
        this.#last = now;
    }

    /** True once after each pause. To be called more often than maxPause. */
    slept(now) {
        const pause = now - this.#last;
        this.#last = now;
        return pause > maxPause;
    }
}

/** Below this, in dBFS, a microphone is off rather than in a quiet room: its own noise is louder. */
export const silence = -70;

/** How long an open microphone may be silent. A headset's switch is pressed by accident, a cable breaks. */
export const maxSilence = 3000;

/** Below this, in dBFS, no one speaks into a microphone that is being tested. */
export const noSpeech = -50;

/** How long a test waits for speech. */
export const maxWaitForSpeech = 5000;

/** Whether a microphone that is tested is heard: 'waiting', 'heard' once there was speech, or 'nothing'. */
export class SpeechTest {
    #begin;
    #isHeard = false;

    constructor(now) {
        this.#begin = now;
    }

    /** `level` in dBFS; null if it is unknown. */
    update(now, level) {
        if (level !== null && level > noSpeech) this.#isHeard = true;
        if (this.#isHeard) return 'heard';
        return now - this.#begin >= maxWaitForSpeech ? 'nothing' : 'waiting';
    }
}

/** Why an open microphone brings nothing: 'muted' by the system or the headset, 'silent', or null. */
export class SilenceWatch {
    #silentSince = null;

    /** `level` in dBFS; null if it is unknown. */
    update(now, { isOpen, isMuted, level }) {
        if (!isOpen || level === null || level > silence) this.#silentSince = null;
        else this.#silentSince ??= now;
        if (isOpen && isMuted) return 'muted';
        return this.#silentSince !== null && now - this.#silentSince >= maxSilence ? 'silent' : null;
    }
}
