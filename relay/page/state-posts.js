const changingInterval = 100; // milliseconds

/**
 * Posts the whole state to the desk, one request at a time. Changes during a request are coalesced into the next
 * one, so that a slow network gets the newest state and never a queue of old ones.
 */
export class StatePosts {
    #read;
    #send;
    #failed;
    #number = 0;
    #inFlight = false;
    #abort = null; // of the request in flight
    #again = false;
    #stopped = false;
    #later;
    #throttled = false;

    /**
     * `read` returns the current state; `send` posts it until its AbortSignal says to stop; `failed` is called with the
     * error of a failed post.
     * `later` calls a function after that many milliseconds.
     */
    constructor(read, send, failed, later = (call, time) => setTimeout(call, time)) {
        this.#later = later;
        this.#read = read;
        this.#send = send;
        this.#failed = failed;
    }

    /** The state has changed: it is sent at once, or after the request in flight. */
    changed() {
        if (this.#stopped) return;
        this.#again = true;
        if (!this.#inFlight) this.#run();
    }

    /** The state keeps changing, as while a slider moves: posts are throttled. */
    isChanging() {
        this.changeIn(changingInterval);
    }

    /** Sends the state after that many milliseconds, unless it is to be sent later already. */
    changeIn(time) {
        if (this.#throttled) return;
        this.#throttled = true;
        this.#later(() => {
            this.#throttled = false;
            this.changed();
        }, time);
    }

    /** Tells the desk that the page is alive, unless a request in flight already does. */
    keepAlive() {
        if (!this.#inFlight) this.changed();
    }

    /** Sends the state again rather than wait for the request in flight: its TCP connection may be dead. */
    resend() {
        this.#abort?.abort();
        this.changed();
    }

    stop() {
        this.#stopped = true;
        this.#abort?.abort();
    }

    async #run() {
        this.#inFlight = true;
        while (this.#again && !this.#stopped) {
            this.#again = false;
            this.#number += 1;
            this.#abort = new AbortController();
            const { signal } = this.#abort;
            try {
                await this.#send({ number: this.#number, ...this.#read() }, signal);
            } catch (error) {
                if (!signal.aborted) this.#failed(error);
            }
        }
        this.#abort = null;
        this.#inFlight = false;
    }
}
