// Being on a role at the desk: joins, keeps the line, and joins anew by itself when it is lost.
import { Call } from './call.js';
import * as desk from './desk-api.js';
import { Line } from './line.js';
import { StatePosts } from './state-posts.js';

const signOfLifeEvery = 2000; // milliseconds, as all below
const packetsEvery = 500;
const tickEvery = 250;

export class Session {
    #code;
    #role;
    #microphone;
    #sound;
    #state;
    #told;
    #line = new Line();
    #shown = null;
    #id = null; // of the newest session, which the next one replaces
    #attempt = 0; // what belongs to an older one is stale
    #call = null;
    #events = null;
    #posts = null;
    #timers = [];
    #listeners = new AbortController();

    /**
     * `state` gives {talk, levels} as they are now. `told` is an object of functions: shown(word) with
     * the words of Line, joined(answer), desk(channels), unheard(), ended(error).
     */
    constructor({ code, role, microphone, sound, state, told }) {
        this.#code = code;
        this.#role = role;
        this.#microphone = microphone;
        this.#sound = sound;
        this.#state = state;
        this.#told = told;
    }

    open() {
        const every = (interval, call) => this.#timers.push(setInterval(call, interval));
        every(tickEvery, () => this.#settle());
        every(signOfLifeEvery, () => this.#posts?.signOfLife());
        every(packetsEvery, () => this.#countPackets());
        const { signal } = this.#listeners;
        const hasten = () => {
            if (document.visibilityState !== 'visible') return;
            this.#line.hasten(performance.now());
            this.#settle();
        };
        window.addEventListener('online', hasten, { signal });
        window.addEventListener('pageshow', hasten, { signal });
        document.addEventListener('visibilitychange', hasten, { signal });
        // The page may come back from where browsers keep pages that were left; its session does not.
        const left = () => {
            this.#sayLeave();
            this.#line.gone('page left', performance.now());
            this.#settle();
        };
        window.addEventListener('pagehide', left, { signal });
        this.#line.open(performance.now());
        this.#settle();
    }

    /** Leaves the desk. Nothing is told after this. */
    close() {
        this.#listeners.abort();
        this.#timers.forEach(clearInterval);
        this.#line.close();
        this.#sayLeave();
        this.#drop();
    }

    /** To be called whenever what `state` gives has changed. */
    changed() {
        this.#posts?.changed();
    }

    /** The same while it goes on changing, as a slider does. */
    isChanging() {
        this.#posts?.isChanging();
    }

    /** The microphone was opened, closed or changed. */
    async microphoneChanged() {
        const { track } = this.#microphone;
        if (this.#call && track && !this.#call.maySend) {
            this.#line.renew(performance.now());
            return this.#settle();
        }
        await this.#call?.useTrack(track).catch((error) => this.#gone(this.#attempt, error.name));
    }

    /** What the line was lost by the last time. */
    get why() {
        return this.#line.why;
    }

    /** Brings everything in line with the line's state. */
    #settle() {
        const joins = this.#line.tick(performance.now());
        const { shown } = this.#line;
        if (this.#line.rests) this.#drop();
        if (shown !== this.#shown) {
            this.#shown = shown;
            if (shown !== 'ended') this.#told.shown(shown);
        }
        if (shown === 'ended') this.#told.ended(this.#line.ended);
        else if (joins) this.#join();
    }

    async #join() {
        this.#drop();
        const attempt = this.#attempt;
        const request = { code: this.#code, role: this.#role, microphone: this.#microphone.track !== null };
        if (this.#id) request.replaces = this.#id;
        try {
            const answer = await desk.join(request);
            if (attempt !== this.#attempt) return desk.leave(answer.session);
            this.#id = answer.session;
            this.#line.joined(performance.now());
            this.#told.joined(answer);
            this.#settle();
            this.#listen(attempt);
            await this.#connect(attempt, answer.offer);
        } catch (error) {
            if (attempt !== this.#attempt) return;
            this.#line.refused(error.error ?? 'no-answer', performance.now(), error.seconds);
            this.#gone(attempt, error.message);
        }
    }

    async #connect(attempt, offer) {
        const call = new Call((state) => {
            if (attempt !== this.#attempt) return;
            this.#line.connection(state, performance.now());
            this.#settle();
        });
        this.#call = call;
        const answer = await call.answer(offer, this.#microphone.track);
        if (attempt !== this.#attempt) return;
        this.#sound.hear(call.sound);
        await desk.sendAnswer(this.#id, answer);
        if (attempt !== this.#attempt) return;
        this.#posts = new StatePosts(
            this.#state,
            (state) => desk.sendState(this.#id, state),
            (error) => {
                // A desk that is asked too much is still there; the next sign of life tells it all.
                if (error.error !== 'slow-down') this.#gone(attempt, error.message);
            },
        );
        this.#posts.changed();
    }

    #listen(attempt) {
        const events = new EventSource(desk.eventsAddress(this.#id));
        this.#events = events;
        const on = (name, call) => {
            events.addEventListener(name, (event) => {
                if (attempt !== this.#attempt) return;
                this.#line.sign(performance.now());
                call(event);
                this.#settle();
            });
        };
        on('beat', () => {});
        on('unheard', () => this.#told.unheard());
        on('desk', (event) => {
            const state = read(event.data);
            if (Array.isArray(state?.channels)) this.#told.desk(state.channels);
        });
        on('goodbye', (event) => this.#line.goodbye(String(read(event.data)?.reason), performance.now()));
        // It connects anew by itself after a break; only a refusal ends it.
        events.addEventListener('error', () => {
            if (events.readyState === EventSource.CLOSED) this.#gone(attempt, 'events refused');
        });
    }

    async #countPackets() {
        const attempt = this.#attempt;
        const call = this.#call;
        if (!call) return;
        const packets = await call.packetsReceived().catch(() => null);
        if (attempt === this.#attempt) this.#line.packets(packets, performance.now());
    }

    #gone(attempt, why) {
        if (attempt !== this.#attempt) return;
        this.#line.gone(why, performance.now());
        this.#settle();
    }

    /** Lets go of all that belongs to one joining. */
    #drop() {
        this.#attempt += 1;
        this.#events?.close();
        this.#posts?.stop();
        this.#call?.close();
        this.#events = null;
        this.#posts = null;
        this.#call = null;
    }

    #sayLeave() {
        if (this.#id) desk.leave(this.#id);
        this.#id = null;
    }
}

function read(text) {
    try {
        return JSON.parse(text);
    } catch {
        return null;
    }
}
