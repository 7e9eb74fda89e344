// What the desk's page says of a crew member. Has no screen and no clock.
import { say } from './sentences.js';

const forgottenTime = 180000; // milliseconds, open without a word
const highLoss = 0.05;
const longDelay = 200; // milliseconds
const lowBattery = 0.2;

/** Such as 0:05 or 1:02:03. */
export function duration(milliseconds) {
    const seconds = Math.max(0, Math.floor(milliseconds / 1000));
    const two = (number) => String(number).padStart(2, '0');
    const minutes = Math.floor(seconds / 60);
    if (minutes < 60) return `${minutes}:${two(seconds % 60)}`;
    return `${Math.floor(minutes / 60)}:${two(minutes % 60)}:${two(seconds % 60)}`;
}

/** {text, isBad} for each thing that is known, the worst first. `now` is on the clock of the member's times. */
export function notesOf(member, now) {
    const notes = [];
    const note = (isBad, key, values = {}) => notes.push({ text: say(key, values), isBad });
    if (!member.connected) note(true, 'notConnected');
    const quietSince = Math.max(member.heard ?? 0, ...member.open.map(({ since }) => since));
    if (member.open.length > 0 && now - quietSince >= forgottenTime) {
        note(true, 'openWithoutWord', { time: duration(now - quietSince) });
    }
    if (!member.microphone) note(false, 'listensOnly');
    if (member.screen === 'hidden') note(true, 'screenHidden');
    if (member.screen === 'may-lock') note(true, 'screenMayLock');
    if (member.heard !== null) note(false, 'heardAgo', { time: duration(now - member.heard) });
    if (member.loss !== null) note(member.loss >= highLoss, 'lossIs', { percent: Math.round(100 * member.loss) });
    if (member.delay !== null) note(member.delay >= longDelay, 'delayIs', { time: Math.round(member.delay) });
    if (member.battery !== null) {
        const isLow = member.battery <= lowBattery && !member.charging;
        note(isLow, member.charging ? 'batteryCharging' : 'batteryIs', { percent: Math.round(100 * member.battery) });
    }
    return [...notes.filter(({ isBad }) => isBad), ...notes.filter(({ isBad }) => !isBad)];
}

/** What a channel's call and light are, and who has answered. */
export function signalsOf({ call = null, light = null }) {
    const answers = (entry, count) => say('answers', { answered: entry.answered.length, count, names: entry.answered.join(', ') || '–' });
    const words = [];
    if (light) {
        const name = say(`signal-${light.kind}`);
        words.push(`${light.text ? `${name} ${light.text}` : name}: ${answers(light, light.shown)}`);
    }
    if (call) words.push(`${call.from ? say('callFrom', { name: call.from }) : say('signal-call')}: ${answers(call, call.called)}`);
    return words;
}
