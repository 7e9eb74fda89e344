// Turns touch, mouse and keyboard events into presses of the talk keys.

/** A contact wider than this is a palm or a cheek. */
const palm = 90; // CSS pixels

/** How far beside its key a finger may drift while it talks. */
const drift = 24; // CSS pixels

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
    #buttons = [];
    #allKey = -1;
    #touchedAt = new WeakMap(); // by button: when a pointer pressed it

    /** `keys` returns the current TalkKeys; `changed` is called after everything that may have changed them. */
    constructor(keys, changed) {
        this.#keys = keys;
        this.#changed = changed;
        document.addEventListener('pointerdown', (event) => this.#otherFinger(event), { capture: true });
        document.addEventListener('keydown', (event) => this.#numberDown(event));
        document.addEventListener('keyup', (event) => this.#numberUp(event));
        window.addEventListener('blur', () => this.#do((keys, now) => keys.cancelHands(now)));
    }

    /** The buttons in the order of the keys; `allKey` is the one that 0 presses, or -1. */
    setButtons(buttons, allKey) {
        this.#buttons = buttons;
        this.#allKey = allKey;
        buttons.forEach((button, key) => this.#watch(button, key));
    }

    /** The page scrolls: a finger on a key was not meant to press it. */
    scrolled() {
        this.#do((keys, now) => keys.cancelHands(now, isPointer));
    }

    /** `event` gives the time, if there is one: a busy page receives it late. */
    #do(action, event = null) {
        const keys = this.#keys();
        if (!keys) return;
        action(keys, timeOf(event));
        this.#changed();
    }

    #watch(button, key) {
        const hand = (event) => `pointer ${event.pointerId}`;
        let area = null; // where the key was when it was pressed

        button.addEventListener('pointerdown', (event) => {
            this.#touchedAt.set(button, performance.now());
            if (event.button !== 0 || event.ctrlKey || !event.isPrimary || isPalm(event)) return;
            area = button.getBoundingClientRect();
            try {
                button.setPointerCapture(event.pointerId);
            } catch {
                // A screen reader's pointer cannot be captured; it is released at once.
            }
            this.#do((keys, now) => {
                if (keys.press(hand(event), key, now, event.clientX, event.clientY)) navigator.vibrate?.(12);
            }, event);
        });
        button.addEventListener('pointermove', (event) => {
            if (!this.#keys()?.isPressed(hand(event))) return;
            this.#do((keys, now) => {
                if (isPalm(event)) keys.cancel(hand(event), now);
                else keys.move(hand(event), now, event.clientX, event.clientY, isNear(area, event));
            }, event);
        });
        button.addEventListener('pointerup', (event) => {
            this.#touchedAt.set(button, performance.now());
            if (!this.#keys()?.isPressed(hand(event))) return;
            this.#do((keys, now) => {
                const before = keys.state(key);
                keys.release(hand(event), now);
                if ((keys.state(key) === 'latched') !== (before === 'latched')) navigator.vibrate?.([12, 50, 12]);
            }, event);
        });
        for (const name of ['pointercancel', 'lostpointercapture']) {
            button.addEventListener(name, (event) => {
                if (this.#keys()?.isPressed(hand(event))) this.#do((keys, now) => keys.cancel(hand(event), now), event);
            });
        }
        button.addEventListener('click', () => {
            const touched = this.#touchedAt.get(button);
            if (touched !== undefined && performance.now() - touched < clickFollows) return;
            this.#do((keys, now) => keys.toggle(key, now));
        });
        button.addEventListener('contextmenu', (event) => event.preventDefault());
        // Without this, a long touch selects text and a double tap zooms on some phones.
        button.addEventListener('touchstart', (event) => event.preventDefault(), { passive: false });

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
        button.addEventListener('blur', () => {
            this.#do((keys, now) => keys.cancelHands(now, (name) => name === 'Space' || name === 'Enter'));
        });
    }

    /** A second finger anywhere is a pinch, a palm or a hand that grips the phone: not talking. */
    #otherFinger(event) {
        if (event.pointerType !== 'touch' || event.isPrimary) return;
        this.#do((keys, now) => keys.cancelHands(now, isPointer));
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

function isNear(area, event) {
    return (
        event.clientX >= area.left - drift &&
        event.clientX <= area.right + drift &&
        event.clientY >= area.top - drift &&
        event.clientY <= area.bottom + drift
    );
}
