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
    #ended;
    #meter = null;
    #opening = 0;

    /** 'closed', 'asking', 'open', or why there is none: 'refused', 'missing', 'busy', 'ended', 'insecure'. */
    state = 'closed';

    /**
     * `ended` is called when an open microphone is unplugged or taken away, `mayBeBack` when one that was missing may
     * be there.
     */
    constructor({ ended, mayBeBack }) {
        this.#ended = ended;
        navigator.mediaDevices?.addEventListener?.('devicechange', () => {
            if (this.state === 'ended' || this.state === 'missing') mayBeBack();
        });
    }

    /** Null unless it is open. */
    get track() {
        return this.#track;
    }

    /**
     * Requests it, again if it is open: the one with the id `device` if it is there. Never throws: see `state`. False if
     * it was closed or requested again before the person had answered; that answer changes nothing.
     */
    async open(setting, device = null) {
        this.close();
        this.#opening += 1;
        const opening = this.#opening;
        if (!navigator.mediaDevices?.getUserMedia) {
            this.state = 'insecure';
            return true;
        }
        this.state = 'asking';
        const audio = { ...settings[setting], ...(device && { deviceId: { ideal: device } }) };
        try {
            const stream = await navigator.mediaDevices.getUserMedia({ audio, video: false });
            if (opening === this.#opening) this.#take(stream);
            else stop(stream);
        } catch (error) {
            if (opening === this.#opening) this.state = troubles[error.name] ?? 'busy';
        }
        return opening === this.#opening;
    }

    /** {deviceId, label} of each microphone; a browser tells of them once it may use one. */
    async devices() {
        const all = (await navigator.mediaDevices?.enumerateDevices().catch(() => [])) ?? [];
        return all.filter(({ kind, deviceId }) => kind === 'audioinput' && deviceId);
    }

    /** The id of the one in use; null if there is none. */
    get device() {
        return this.#track?.getSettings().deviceId ?? null;
    }

    /** Audio leaves this device only while it is on. */
    setOn(on) {
        this.#on = on;
        if (this.#track) this.#track.enabled = on;
        this.#meter?.setOn(on);
    }

    /** The level in dBFS while it is on; null if it is unknown. */
    level() {
        return this.#on ? (this.#meter?.level() ?? null) : null;
    }

    /** True while the system or a headset's switch has muted it. */
    get isMuted() {
        return this.#track?.muted ?? false;
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

    /** Null before it runs. */
    level() {
        if (this.#context.state !== 'running') return null;
        this.#analyser.getFloatTimeDomainData(this.#samples);
        let sum = 0;
        for (const sample of this.#samples) sum += sample * sample;
        return 10 * Math.log10(sum / this.#samples.length + 1e-12);
    }

    close() {
        this.#context.close().catch(() => {});
    }
}
