// Choosing and testing the microphone before joining.
import { say } from './sentences.js';
import { step } from './steps.js';
import { SpeechTest } from './watches.js';

const interval = 66; // milliseconds

const find = (id) => document.getElementById(id);
const words = { waiting: 'saySomething', heard: 'hearYou', nothing: 'hearNothing' };

/** From 0 to 1, for a level meter from -60 dBFS to -6 dBFS. */
export function fractionOf(level) {
    return level === null ? 0 : Math.min(1, Math.max(0, (level + 60) / 54));
}

/** Fills the choices of a microphone. A browser that is not allowed to use one tells no names. */
export async function showMicrophones(microphone) {
    const devices = await microphone.devices();
    for (const choice of document.querySelectorAll('.microphones')) {
        const options = devices.map(({ deviceId, label }, index) => {
            const name = label || say('defaultMicrophone', { number: index + 1 });
            return new Option(name, deviceId, false, deviceId === microphone.device);
        });
        choice.replaceChildren(...options);
        choice.parentElement.classList.toggle('useless', options.length < 2);
    }
}

export class MicrophoneCheck {
    #microphone;
    #open;
    #timer = 0;
    #test = null;

    /** `open` opens the microphone as the person has set it. */
    constructor(microphone, open) {
        this.#microphone = microphone;
        this.#open = open;
        find('check-start').addEventListener('click', () => this.start());
    }

    get isRunning() {
        return this.#timer !== 0;
    }

    async start() {
        find('check-start').hidden = true;
        find('check').hidden = false;
        find('check-words').textContent = say('askingForMicrophone');
        if (!(await this.#open()) || step !== 'roles-step') return;
        if (!this.#microphone.track) {
            find('check-words').textContent = say(this.#microphone.state);
            find('check-start').hidden = false;
            return;
        }
        await showMicrophones(this.#microphone);
        this.#microphone.setOn(true);
        this.#test = new SpeechTest(performance.now());
        this.#timer ||= setInterval(() => this.#update(), interval);
    }

    /** Leaves the microphone open, but silent: joining uses it. */
    stop() {
        clearInterval(this.#timer);
        this.#timer = 0;
        find('check').hidden = true;
        find('check-start').hidden = false;
        this.#microphone.setOn(false);
    }

    #update() {
        if (step !== 'roles-step') {
            this.stop();
            if (step === 'code-step') this.#microphone.close();
            return;
        }
        const level = this.#microphone.level();
        find('check-bar').style.width = `${100 * fractionOf(level)}%`;
        const text = say(words[this.#test.update(performance.now(), level)]);
        if (find('check-words').textContent !== text) find('check-words').textContent = text;
    }
}
