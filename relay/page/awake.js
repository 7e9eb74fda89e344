// Keeps the screen on (screen wake lock): a phone that locks itself stops the page.
export class Awake {
    #wanted = false;
    #lock = null;
    #asking = false;
    #unsupported;

    /** `unsupported` is called if the browser cannot, once per start at most. */
    constructor(unsupported) {
        this.#unsupported = unsupported;
        document.addEventListener('visibilitychange', () => this.#request());
    }

    /** True while the screen cannot lock. */
    get isHeld() {
        return this.#lock !== null && !this.#lock.released;
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
        if (this.#asking || this.isHeld) return;
        this.#asking = true;
        try {
            const lock = await navigator.wakeLock.request('screen');
            if (this.#wanted) this.#lock = lock;
            else lock.release().catch(() => {});
        } catch {
            // The page was hidden meanwhile, or the battery is low. The next return to the page tries again.
            if (document.visibilityState === 'visible') this.#unsupported();
        } finally {
            this.#asking = false;
        }
    }
}
