// The microphone of this device: requested once, silent unless a key is on.

/**
 * The browser's audio processing; the figures were measured in Chromium. While others are heard, echo cancellation
 * attenuates the first seconds of speech by 35 dB or more until it has learned that there is no echo, so a headset
 * goes without. Noise suppression attenuates a steady tone by 20 dB. Gain control amplifies soft speech by 15 dB
 * and after three seconds leaves a steady tone at its own level.
 */
export const settings = {
    headset: { echoCancellation: false, noiseSuppression: false, autoGainControl: true },
    loudspeaker: { echoCancellation: true, noiseSuppression: true, autoGainControl: true },
};

const troubles = {
    NotAllowedError: 'refused',
    SecurityError: 'refused',
    NotFoundError: 'missing',
    OverconstrainedError: 'missing',
};

export class Microphone {
    #stream = null;
    #track = null;
    #on = false;
    #meter = null;
    #ended;
    #opening = 0;

    /** 'closed', 'open', or why there is none: 'refused', 'missing', 'busy', 'ended', 'insecure'. */
    state = 'closed';

    /** `ended` is called when an open microphone is unplugged or taken away. */
    constructor(ended) {
        this.#ended = ended;
    }

    /** Null unless it is open. */
    get track() {
        return this.#track;
    }

    /** Requests it, again if it is open. Never throws: see `state`. */
    async open(setting) {
        this.close();
        this.#opening += 1;
        const opening = this.#opening;
        if (!navigator.mediaDevices?.getUserMedia) {
            this.state = 'insecure';
            return;
        }
        try {
            const stream = await navigator.mediaDevices.getUserMedia({ audio: settings[setting], video: false });
            if (opening !== this.#opening) return stop(stream); // closed meanwhile
            this.#take(stream);
        } catch (error) {
            if (opening === this.#opening) this.state = troubles[error.name] ?? 'busy';
        }
    }

    /** Audio leaves this device only while it is on. */
    setOn(on) {
        this.#on = on;
        if (this.#track) this.#track.enabled = on;
        this.#meter?.setOn(on);
    }

    /** The level, from 0 (silence) to 1 (maximum). */
    level() {
        return this.#on ? (this.#meter?.level() ?? 0) : 0;
    }

    close() {
        this.#opening += 1;
        this.#meter?.close();
        stop(this.#stream);
        this.#meter = null;
        this.#stream = null;
        this.#track = null;
        this.state = 'closed';
    }

    #take(stream) {
        const [track] = stream.getAudioTracks();
        track.enabled = this.#on;
        track.addEventListener('ended', () => {
            if (track !== this.#track) return;
            this.close();
            this.state = 'ended';
            this.#ended();
        });
        this.#stream = stream;
        this.#track = track;
        this.#meter = Meter.of(stream);
        this.#meter?.setOn(this.#on);
        this.state = 'open';
    }
}

function stop(stream) {
    for (const track of stream?.getTracks() ?? []) track.stop();
}

/** A level meter that is suspended while the microphone is off. */
class Meter {
    #context;
    #source; // kept: while the context is suspended, a browser may collect a source that only the graph refers to
    #analyser;
    #samples;

    /** Null where the browser has none: talking works without a meter. */
    static of(stream) {
        try {
            return new Meter(stream);
        } catch {
            return null;
        }
    }

    constructor(stream) {
        this.#context = new AudioContext();
        this.#analyser = this.#context.createAnalyser();
        this.#analyser.fftSize = 1024;
        this.#samples = new Float32Array(this.#analyser.fftSize);
        this.#source = this.#context.createMediaStreamSource(stream);
        this.#source.connect(this.#analyser);
    }

    setOn(on) {
        const done = on ? this.#context.resume() : this.#context.suspend();
        done.catch(() => {}); // closed meanwhile
    }

    level() {
        this.#analyser.getFloatTimeDomainData(this.#samples);
        let sum = 0;
        for (const sample of this.#samples) sum += sample * sample;
        const decibels = 10 * Math.log10(sum / this.#samples.length + 1e-10);
        return Math.min(1, Math.max(0, (decibels + 60) / 54)); // -60 dB to -6 dB
    }

    close() {
        this.#context.close().catch(() => {});
    }
}
