// Shows calls and cue lights that wait for an answer, over the header, and the dialog in which one calls others.
import { instance, setText } from './desk-view.js';
import { CallTone, tell, vibrate } from './notices.js';
import { say } from './sentences.js';
import { Signals } from './signals.js';

const ringInterval = 2500; // milliseconds

const find = (id) => document.getElementById(id);
const lightWords = { standby: 'standbyOn', go: 'goOn' };

export class SignalView {
    #signals = new Signals();
    #tone = new CallTone();
    #timer = 0;
    #nameOf;
    #call;
    #rows = [];
    #calls = []; // one's own, by channel

    /** `nameOf` names a channel; `answer` takes the {channel, kind} that was answered, `call` one and whether to call there. */
    constructor({ nameOf, answer, call }) {
        this.#nameOf = nameOf;
        this.#call = call;
        find('signal').addEventListener('click', () => {
            if (this.#signals.mayAnswer(performance.now())) answer(this.#signals.first);
        });
    }

    /** Must be called within a tap. */
    unlock() {
        this.#tone.unlock();
    }

    /** The rows of the dialog: a key for each channel. */
    build(channels) {
        this.#rows = channels.map((_, channel) => {
            const row = instance('call-row');
            row.querySelector('.call-channel').textContent = this.#nameOf(channel);
            row.querySelector('button').addEventListener('click', () => this.#call(channel, !this.#calls[channel]));
            return row;
        });
        find('call-rows').replaceChildren(...this.#rows);
        this.#showCalls([]);
    }

    /** Takes the desk's {call, light} of each channel. */
    update(channels) {
        const news = this.#signals.update(channels, performance.now());
        for (const signal of news) {
            tell('assertive', this.#sentence(signal));
            vibrate(signal.kind);
        }
        this.#showCalls(channels);
        this.#draw();
        if (this.#signals.isCalled === (this.#timer !== 0)) return;
        clearInterval(this.#timer);
        this.#timer = this.#signals.isCalled ? setInterval(() => this.#ring(), ringInterval) : 0;
        if (this.#signals.isCalled) this.#ring();
    }

    #ring() {
        this.#tone.play();
        vibrate('call');
    }

    #sentence({ channel, kind, from, text }) {
        const name = this.#nameOf(channel);
        if (kind === 'call') return say(from ? 'isCalling' : 'isCalled', { name: from, channel: name });
        return say(lightWords[kind], { channel: name, text }).replace(/ {2,}/g, ' ');
    }

    #draw() {
        const { first, count } = this.#signals;
        find('signal').hidden = first === null;
        if (!first) return;
        find('signal').dataset.kind = first.kind;
        setText(find('signal-text'), this.#sentence(first));
        setText(find('signal-hint'), count > 1 ? say('tapToAnswerMore', { count: count - 1 }) : say('tapToAnswer'));
    }

    #showCalls(channels) {
        this.#rows.forEach((row, channel) => {
            const call = channels[channel]?.call;
            this.#calls[channel] = call?.mine === true;
            const state = call?.mine
                ? say('answers', { answered: call.answered.length, count: call.called, names: call.answered.join(', ') || '–' })
                : '';
            setText(row.querySelector('.call-state'), state);
            const key = row.querySelector('button');
            setText(key, say(call?.mine ? 'endCall' : 'call'));
            key.setAttribute('aria-label', say(call?.mine ? 'endCallOn' : 'callOn', { channel: this.#nameOf(channel) }));
            key.setAttribute('aria-pressed', String(call?.mine === true));
        });
    }
}
