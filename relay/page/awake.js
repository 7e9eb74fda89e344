// Keeps the screen on: a phone that locks itself stops the page.
export class Awake {
    #wanted = false;
    #lock = null;
    #asking = false;
    #unsupported;

    /** `unsupported` is called when the browser cannot, at most once for each start. */
    constructor(unsupported) {
        this.#unsupported = unsupported;
        document.addEventListener('visibilitychange', () => this.#request());
    }

    start() {
        this.#wanted = true;
        if (navigator.wakeLock) this.#request();
        else this.#unsupported();
    }

    stop() {
        this.#wanted = false;
        this.#lock?.release().catch(() => {});
        this.#lock = null;
    }

    async #request() {
        if (!this.#wanted || !navigator.wakeLock || document.visibilityState !== 'visible') return;
        if (this.#asking || (this.#lock && !this.#lock.released)) return;
        this.#asking = true;
        try {
            const lock = await navigator.wakeLock.request('screen');
            if (this.#wanted) this.#lock = lock;
            else lock.release().catch(() => {});
        } catch {
            // Hidden again meanwhile, or the battery is low: the next visit to the page asks anew.
            if (document.visibilityState === 'visible') this.#unsupported();
        } finally {
            this.#asking = false;
        }
    }
}
