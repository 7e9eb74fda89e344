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

    /**
     * `read` gives the state as it is now; `send` posts it and resolves to true if the desk took it;
     * `failed` is told why it was not, once for each post.
     */
    constructor(read, send, failed) {
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
