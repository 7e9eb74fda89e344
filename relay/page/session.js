// A session on one role: joins, keeps the connection alive, and reconnects by itself when it is lost.
import { Call } from './call.js';
import { Connection } from './connection.js';
import * as desk from './desk-api.js';
import { LineQuality } from './line-quality.js';
import { StatePosts } from './state-posts.js';

const keepAliveInterval = 2000; // milliseconds, as all below
const probeInterval = 1000; // while nothing is heard of the desk
const packetsInterval = 250;
const lossInterval = 500;
const lineInterval = 1000;
const tickInterval = 250;
const postRetry = 500; // with jitter, as the whole crew may lose the desk together
const maxRetryWindow = 10000;

export class Session {
    #credential;
    #role;
    #microphone;
    #sound;
    #state;
    #callbacks;
    #connection = new Connection();
    #status = null; // as last reported
    #id = null; // of the newest session, which the next one replaces
    #attempt = 0; // results of older ones are stale
    #call = null;
    #events = null;
    #posts = null;
    #line = null;
    #closings = 0; // of the keys by the desk, in the newest session
    #timers = [];
    #retryTimer = 0;
    #listeners = new AbortController();

    /**
     * `state` returns the current {talk, levels} and what the desk may know of the device. `callbacks`:
     * status(Connection.status), joined(response), desk(channels), unheard(), forgotten(channels), closed(),
     * announcement(text), ended(error).
     */
    constructor({ credential, role, microphone, sound, state, callbacks }) {
        this.#credential = credential;
        this.#role = role;
        this.#microphone = microphone;
        this.#sound = sound;
        this.#state = state;
        this.#callbacks = callbacks;
    }

    open() {
        const every = (interval, call) => this.#timers.push(setInterval(call, interval));
        every(tickInterval, () => this.#update());
        every(keepAliveInterval, () => this.#posts?.keepAlive());
        every(probeInterval, () => this.#probe());
        every(packetsInterval, () => this.#countPackets());
        every(lineInterval, () => this.#measureLine());
        every(lossInterval, () => this.#call?.adaptToLoss().catch(() => {})); // the next time may work
        const { signal } = this.#listeners;
        const retryNow = () => {
            if (document.visibilityState !== 'visible') return;
            this.#connection.retryNow(performance.now());
            this.#update();
        };
        const networkChanged = () => {
            this.#connection.networkChanged();
            this.#trySecondWay();
            retryNow();
        };
        window.addEventListener('online', networkChanged, { signal });
        const network = navigator.connection; // only some browsers have it, and it also tells of other changes
        let type = network?.type;
        const typeMayHaveChanged = () => {
            if (network.type === type) return;
            type = network.type;
            networkChanged();
        };
        network?.addEventListener('change', typeMayHaveChanged, { signal });
        window.addEventListener('pageshow', retryNow, { signal });
        document.addEventListener('visibilitychange', retryNow, { signal });
        // The page may come back from the back/forward cache; its session does not.
        const left = () => {
            this.#sendLeave();
            this.#lose(this.#attempt, 'page left');
        };
        window.addEventListener('pagehide', left, { signal });
        this.#connection.open(performance.now());
        this.#update();
    }

    /** Leaves the desk. No callback is called after this. */
    close() {
        this.#listeners.abort();
        this.#timers.forEach(clearInterval);
        clearTimeout(this.#retryTimer);
        this.#connection.close();
        this.#sendLeave();
        this.#drop();
    }

    /** Begins or ends one's own call on a channel; throws a DeskError. */
    call(channel, on) {
        return desk.call(this.#id, channel, on);
    }

    /** Acknowledges the call, or the light, on a channel; throws a DeskError. */
    acknowledge(channel, isCall) {
        return desk.acknowledge(this.#id, channel, isCall);
    }

    /** Must be called whenever what `state` returns has changed. */
    changed() {
        this.#posts?.changed();
    }

    /** The same while it keeps changing, as while a slider moves. */
    isChanging() {
        this.#posts?.isChanging();
    }

    /** The microphone was opened, closed or changed. */
    async microphoneChanged() {
        const { track } = this.#microphone;
        if (this.#call && track && !this.#call.maySend) {
            this.#connection.rejoin(performance.now());
            return this.#update();
        }
        await this.#call?.useTrack(track).catch((error) => this.#lose(this.#attempt, error.name));
    }

    /** Acts on the state of the connection. */
    #update() {
        const mustJoin = this.#connection.tick(performance.now());
        const { status } = this.#connection;
        if (this.#connection.isIdle) this.#drop();
        // Events that were missed while it was lost do not come again; a new stream begins with all there is to know.
        const hasRecovered = this.#status === 'lost' && status === 'on-air';
        if (hasRecovered || this.#connection.mustReopenEvents(performance.now())) this.#listen(this.#attempt);
        if (status !== this.#status) {
            this.#status = status;
            this.#probe();
            if (status !== 'ended') this.#callbacks.status(status);
        }
        clearTimeout(this.#retryTimer);
        const wait = this.#connection.timeToRetry(performance.now());
        if (wait !== null) this.#retryTimer = setTimeout(() => this.#update(), wait + 1);
        if (status === 'ended') this.#callbacks.ended(this.#connection.finalError);
        else if (mustJoin) this.#join();
    }

    async #join() {
        this.#drop();
        const attempt = this.#attempt;
        const request = { ...this.#credential, role: this.#role, microphone: this.#microphone.track !== null };
        if (this.#id) request.replaces = this.#id;
        try {
            const response = await desk.join(request);
            if (attempt !== this.#attempt) return desk.leave(response.session);
            this.#id = response.session;
            this.#closings = 0;
            this.#connection.joined(performance.now());
            this.#callbacks.joined(response);
            this.#update();
            this.#listen(attempt);
            await this.#connect(attempt, response.offer);
        } catch (error) {
            if (attempt !== this.#attempt) return;
            this.#connection.joinFailed(error.error ?? 'no-response', performance.now(), error.seconds);
            this.#lose(attempt, error.message);
        }
    }

    async #connect(attempt, offer) {
        const call = new Call((state) => {
            if (attempt !== this.#attempt) return;
            this.#connection.peerStateChanged(state, performance.now());
            this.#trySecondWay();
            this.#update();
        });
        this.#call = call;
        this.#line = new LineQuality();
        const sdpAnswer = await call.answer(offer, this.#microphone.track);
        if (attempt !== this.#attempt) return;
        this.#sound.playStream(call.sound);
        await desk.sendAnswer(this.#id, sdpAnswer);
        if (attempt !== this.#attempt) return;
        this.#posts = new StatePosts(
            () => ({ ...this.#state(), ...this.#line.report, closings: this.#closings }),
            async (state, signal) => {
                await desk.sendState(this.#id, state, signal);
                if (attempt !== this.#attempt) return;
                this.#connection.responded(performance.now());
                this.#trySecondWay();
            },
            (error) => this.#postFailed(attempt, error),
        );
        this.#posts.changed();
    }

    #postFailed(attempt, error) {
        if (attempt !== this.#attempt) return;
        // The network may be back soon; whether the connection is lost is decided by what is heard of the desk.
        if (error.error === 'no-response') this.#posts.changeIn(postRetry * (0.5 + Math.random()));
        // A desk that limits the rate is still there; the next keep-alive carries the whole state.
        else if (error.error !== 'slow-down') this.#lose(attempt, error.message);
    }

    /** Finds out whether the desk can be reached again. TCP would repeat a request that is stuck only after seconds. */
    #probe() {
        if (this.#connection.isInterrupted) this.#posts?.resend();
    }

    #listen(attempt) {
        this.#events?.close();
        const events = new EventSource(desk.eventsAddress(this.#id));
        this.#events = events;
        const on = (name, call) => {
            events.addEventListener(name, (event) => {
                if (attempt !== this.#attempt) return;
                this.#connection.heartbeat(performance.now());
                call(event);
                this.#update();
            });
        };
        on('beat', (event) => {
            const window = read(event.data)?.retryWindow;
            if (window >= 0 && window <= maxRetryWindow) this.#connection.spreadRetries(window);
        });
        on('unheard', () => this.#callbacks.unheard());
        on('forgotten', (event) => {
            const channels = read(event.data)?.channels;
            if (Array.isArray(channels)) this.#callbacks.forgotten(channels);
        });
        on('closed', (event) => {
            const count = read(event.data)?.count;
            if (!(count > this.#closings)) return;
            this.#closings = count;
            this.#callbacks.closed();
            this.#posts?.changed();
        });
        on('desk', (event) => {
            const state = read(event.data);
            if (Array.isArray(state?.channels)) this.#callbacks.desk(state.channels);
        });
        on('announcement', (event) => {
            const text = read(event.data)?.text;
            if (typeof text === 'string') this.#callbacks.announcement(text);
        });
        on('goodbye', (event) => {
            const { reason, retry } = read(event.data) ?? {};
            const hasTime = retry >= 0 && retry <= maxRetryWindow;
            this.#connection.goodbye(String(reason), performance.now(), hasTime ? retry : null);
        });
        // An EventSource reconnects by itself, after seconds; only an error response closes it. If the desk has ended
        // and another one is there, the response to a state says so at once.
        events.addEventListener('error', () => {
            if (events.readyState === EventSource.CLOSED) this.#lose(attempt, 'events rejected');
            else if (attempt === this.#attempt) this.#posts?.resend();
        });
    }

    async #countPackets() {
        const attempt = this.#attempt;
        const call = this.#call;
        if (!call) return;
        const packets = await call.packetsReceived().catch(() => null);
        if (attempt !== this.#attempt) return;
        if (this.#connection.packetsReceived(packets, performance.now())) this.#posts?.resend();
        this.#trySecondWay();
    }

    async #measureLine() {
        const line = this.#line;
        const reports = await this.#call?.statistics().catch(() => null);
        if (reports) line.update(reports);
    }

    #trySecondWay() {
        if (!this.#connection.mustTrySecondWay(performance.now())) return;
        this.#call?.restartIce().catch(() => {}); // the next one may work
    }

    #lose(attempt, reason) {
        if (attempt !== this.#attempt) return;
        this.#connection.lose(reason, performance.now());
        this.#update();
    }

    /** Closes everything that belongs to the current attempt. */
    #drop() {
        this.#attempt += 1;
        this.#events?.close();
        this.#posts?.stop();
        this.#call?.close();
        this.#events = null;
        this.#posts = null;
        this.#call = null;
    }

    #sendLeave() {
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
