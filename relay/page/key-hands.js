// Turns touch, mouse and keyboard events into presses of the talk keys.

/** A contact wider than this is a palm or a cheek. */
const palm = 90; // CSS pixels

/** How long a finger must rest before its key opens, so that a swipe opens none. Where the keys can scroll, a swipe
 * may begin slowly: Android waits as long before it shows a touched row as pressed (tap timeout). */
const restTime = 60; // milliseconds
const restTimeWhereKeysScroll = 100;

/** A click this soon after a pointer's press belongs to it; any other comes from a screen reader. */
const clickFollows = 700; // milliseconds

/** The time stamp of an event that seems older than this is not used. */
const maxEventAge = 2000; // milliseconds

const isPointer = (hand) => hand.startsWith('pointer ');
const textTypes = new Set(['text', 'search', 'number', 'tel', 'password', 'email', 'url']);
const takesText = (element) => element instanceof HTMLInputElement && textTypes.has(element.type);

export class KeyHands {
    #keys;
    #changed;
    #cutOff;
    #keysScroll;
    #buttons = [];
    #allKey = -1;
    #touchedAt = new WeakMap(); // by button: when a pointer pressed it

    /**
     * `keys` returns the current TalkKeys; `changed` is called after everything that may have changed them, and
     * `cutOff` when talking ended although no one let go. `keysScroll` returns whether a swipe can scroll the keys.
     */
    constructor({ keys, changed, cutOff, keysScroll }) {
        this.#keys = keys;
        this.#changed = changed;
        this.#cutOff = cutOff;
        this.#keysScroll = keysScroll;
        document.addEventListener('pointerdown', (event) => this.#otherFinger(event), { capture: true });
        document.addEventListener('keydown', (event) => this.#numberDown(event));
        document.addEventListener('keyup', (event) => this.#numberUp(event));
        window.addEventListener('blur', () => this.#cancel(() => true));
    }

    /** The buttons in the order of the keys; `allKey` is the one that 0 presses, or -1. */
    setButtons(buttons, allKey) {
        this.#buttons = buttons;
        this.#allKey = allKey;
        buttons.forEach((button, key) => this.#watch(button, key));
    }

    /** `event` gives the time, if there is one: a busy page receives it late. */
    #do(action, event = null) {
        const keys = this.#keys();
        if (!keys) return;
        action(keys, timeOf(event));
        this.#changed();
    }

    #cancel(which, event = null) {
        let isCutOff = false;
        this.#do((keys, now) => {
            isCutOff = keys.cancelHands(now, which);
        }, event);
        if (isCutOff) this.#cutOff();
    }

    #watch(button, key) {
        const hand = (event) => `pointer ${event.pointerId}`;

        button.addEventListener('pointerdown', (event) => {
            this.#touchedAt.set(button, performance.now());
            if (event.button !== 0 || event.ctrlKey || isPalm(event)) return;
            if (this.#keys()?.isPressedBySome(isPointer)) return; // a palm beside the finger that talks
            try {
                button.setPointerCapture(event.pointerId);
            } catch {
                // A screen reader's pointer cannot be captured; it is released at once.
            }
            this.#do((keys, now) => {
                // A busy page receives the touch late, and what the finger did since still has to be read.
                const delay = this.#delayOf(event) + performance.now() - now;
                keys.press(hand(event), key, now, { x: event.clientX, y: event.clientY, delay });
                if (!event.isPrimary) keys.forbidLatch();
            }, event);
        });
        button.addEventListener('pointermove', (event) => {
            if (!this.#keys()?.isPressed(hand(event))) return;
            this.#do((keys, now) => {
                if (isPalm(event)) keys.forbidLatch();
                keys.move(hand(event), now, event.clientX, event.clientY);
            }, event);
        });
        button.addEventListener('pointerup', (event) => {
            this.#touchedAt.set(button, performance.now());
            if (!this.#keys()?.isPressed(hand(event))) return;
            this.#do((keys, now) => keys.release(hand(event), now), event);
        });
        for (const name of ['pointercancel', 'lostpointercapture']) {
            button.addEventListener(name, (event) => {
                if (this.#keys()?.isPressed(hand(event))) this.#cancel((other) => other === hand(event), event);
            });
        }
        button.addEventListener('click', () => {
            const touched = this.#touchedAt.get(button);
            if (touched !== undefined && performance.now() - touched < clickFollows) return;
            this.#do((keys, now) => keys.toggle(key, now));
        });
        button.addEventListener('contextmenu', (event) => event.preventDefault());
        // Without this, a long touch selects text and a double tap zooms on some phones. It also forbids scrolling.
        const touchStarted = (event) => {
            if (event.cancelable && !this.#keysScroll()) event.preventDefault();
        };
        // A finger that talks must not begin to scroll as it drifts: the browser would take the touch away.
        const touchMoved = (event) => {
            const now = performance.now();
            const keys = this.#keys();
            const isTalking = keys?.isPressedBySome((name) => isPointer(name) && keys.isOpen(name, now));
            if (isTalking && event.cancelable) event.preventDefault();
        };
        button.addEventListener('touchstart', touchStarted, { passive: false });
        button.addEventListener('touchmove', touchMoved, { passive: false });

        button.addEventListener('keydown', (event) => {
            if (event.code !== 'Space' && event.code !== 'Enter') return;
            event.preventDefault(); // the browser's own click
            if (!event.repeat) this.#do((keys, now) => keys.press(event.code, key, now), event);
        });
        button.addEventListener('keyup', (event) => {
            if (event.code !== 'Space' && event.code !== 'Enter') return;
            event.preventDefault();
            this.#do((keys, now) => keys.release(event.code, now), event);
        });
        button.addEventListener('blur', () => this.#cancel((name) => name === 'Space' || name === 'Enter'));
    }

    #delayOf(event) {
        if (event.pointerType === 'mouse') return 0; // it does not scroll by dragging
        return this.#keysScroll() ? restTimeWhereKeysScroll : restTime;
    }

    /** A second finger anywhere may be a palm or the hand that grips the phone. */
    #otherFinger(event) {
        if (event.pointerType === 'touch' && !event.isPrimary) this.#do((keys) => keys.forbidLatch());
    }

    #numberDown(event) {
        const key = this.#keyOfNumber(event.code);
        if (key === null || event.ctrlKey || event.altKey || event.metaKey) return;
        if (takesText(event.target) || document.querySelector('dialog[open]')) return;
        event.preventDefault();
        if (!event.repeat) this.#do((keys, now) => keys.press(event.code, key, now), event);
    }

    #numberUp(event) {
        if (this.#keys()?.isPressed(event.code) && this.#keyOfNumber(event.code) !== null) {
            this.#do((keys, now) => keys.release(event.code, now), event);
        }
    }

    /** By the key's position: on some layouts digits need the shift key. */
    #keyOfNumber(code) {
        const number = /^(?:Digit|Numpad)([0-9])$/.exec(code)?.[1];
        if (number === undefined || this.#buttons.length === 0) return null;
        if (number === '0') return this.#allKey >= 0 ? this.#allKey : null;
        const key = Number(number) - 1;
        return key < this.#buttons.length && key !== this.#allKey ? key : null;
    }
}

/** On the clock of performance.now(); synthetic events may have other time stamps. */
function timeOf(event) {
    const now = performance.now();
    const time = event?.timeStamp ?? now;
    return time <= now && now - time < maxEventAge ? time : now;
}

function isPalm(event) {
    return event.pointerType === 'touch' && Math.max(event.width, event.height) > palm;
}
