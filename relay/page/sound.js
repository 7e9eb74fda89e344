// Plays the audio from the desk: one audio element for the whole visit, since a browser lets an element play
// only after a tap has started it.
export class Sound {
    #element;
    #refused;
    #playing = false;

    /** Calls `refused(true)` when the browser wants another tap before it plays, `refused(false)` when it plays. */
    constructor(element, refused) {
        this.#element = element;
        this.#refused = refused;
        // A phone call or a pulled headset pauses the element.
        element.addEventListener('pause', () => {
            if (this.#playing) this.play();
        });
    }

    /** Must be called within a tap, before there is anything to hear. */
    unlock() {
        this.#element.srcObject = new MediaStream();
        this.#element.play().catch(() => {}); // there is nothing to play yet
    }

    playStream(stream) {
        this.#playing = true;
        this.#element.srcObject = stream;
        this.play();
    }

    async play() {
        try {
            await this.#element.play();
            this.#refused(false);
        } catch (error) {
            if (this.#playing && error.name === 'NotAllowedError') this.#refused(true);
        }
    }

    stop() {
        this.#playing = false;
        this.#element.srcObject = null;
        this.#refused(false);
    }
}

/** Tells browsers that have the Audio Session API how this page uses sound. */
export function announceAudioUse(withMicrophone) {
    if (navigator.audioSession) navigator.audioSession.type = withMicrophone ? 'play-and-record' : 'playback';
}
