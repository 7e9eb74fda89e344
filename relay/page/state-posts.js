const changingEvery = 100; // milliseconds

// Tells the desk the whole state, one post at a time: what changes while one is under way goes with
// the next, so that a slow network gets the newest state and never a queue of old ones.
export class StatePosts {
    #read;
    #send;
    #failed;
    #number = 0;
    #underWay = false;
    #again = false;
    #stopped = false;
    #later;
    #waits = false;

    /**
     * `read` gives the state as it is now; `send` posts it and resolves to true if the desk took it;
     * `failed` is told why it was not, once for each post. `later` calls a function
     * after that many milliseconds.
     */
    constructor(read, send, failed, later = (call, time) => setTimeout(call, time)) {
        this.#later = later;
        this.#read = read;
        this.#send = send;
        this.#failed = failed;
    }

    /** The state has changed: it is sent at once, or right after what is under way. */
    changed() {
        if (this.#stopped) return;
        this.#again = true;
        if (!this.#underWay) this.#run();
    }

    /** The state goes on changing, as while a slider moves: it is sent now and then. */
    isChanging() {
        if (this.#waits) return;
        this.#waits = true;
        this.#later(() => {
            this.#waits = false;
            this.changed();
        }, changingEvery);
    }

    /** A sign of life, unless a post is under way, which is one itself. */
    signOfLife() {
        if (!this.#underWay) this.changed();
    }

    stop() {
        this.#stopped = true;
    }

    async #run() {
        this.#underWay = true;
        while (this.#again && !this.#stopped) {
            this.#again = false;
            this.#number += 1;
            try {
                await this.#send({ number: this.#number, ...this.#read() });
            } catch (error) {
                if (this.#stopped) break;
                this.#failed(error);
            }
        }
        this.#underWay = false;
    }
}
