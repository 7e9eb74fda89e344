// The crew's page: the code, the role, the desk.
import { Awake } from './awake.js';
import { fetchRoles } from './desk-api.js';
import { DeskView } from './desk-view.js';
import { takeFragment } from './fragment.js';
import { KeyHands } from './key-hands.js';
import { memory } from './memory.js';
import { Microphone, settings } from './microphone.js';
import * as sentences from './sentences.js';
import { Session } from './session.js';
import { announceAudioUse, Sound } from './sound.js';
import { TalkKeys } from './talk-keys.js';

// Milliseconds, all of them.
const blankAtMost = 500; // until a first page is shown while the desk is being asked
const rolesEvery = 5000;
const codeRetry = 3000;
const noticeStays = 12000;
const politeEvery = 5000;
const meterEvery = 66;

const find = (id) => document.getElementById(id);
const steps = ['code-step', 'roles-step', 'joining-step', 'desk-step'];

let step = null;
let code = null;
let role = null; // {key, name} of the role joined or wished for
let session = null;
let keys = null;
let reconnecting = false;
let lineShown = null;

const microphone = new Microphone(() => {
    showMicrophone();
    session?.microphoneChanged();
});
const sound = new Sound(find('sound'), (refused) => {
    find('hear').hidden = !refused;
});
const awake = new Awake(() => {
    find('awake-note').textContent = sentences.stayAwake;
    find('awake-note').hidden = false;
});
const view = new DeskView(
    { list: find('channels'), allArea: find('all-area'), empty: find('no-channels') },
    () => session?.isChanging(),
);
const hands = new KeyHands(() => keys, keysChanged);

// ---- Steps ----

function showStep(name) {
    step = name;
    for (const id of steps) find(id).hidden = id !== name;
    find('masthead').hidden = name === 'desk-step';
    find('warning-help').hidden = name === 'desk-step' || name === 'joining-step';
    document.body.dataset.step = name;
    if (name !== 'desk-step' && find('menu').open) find('menu').close();
    const heading = find(name).querySelector('[tabindex="-1"]');
    if (name === 'code-step') find('code').focus({ preventScroll: true });
    else heading?.focus({ preventScroll: true });
    window.scrollTo(0, 0);
}

function setTitle(text) {
    document.title = text ? `${text} – Wingbell crew` : 'Wingbell crew';
}

// ---- The code ----

let codeTimer = 0;
let asking = 0; // the newest request for the roles; answers to older ones are stale

function showCode(message = '') {
    find('masthead-show').textContent = 'Crew intercom';
    setTitle('');
    find('code-message').textContent = message;
    showStep('code-step');
}

function typedCode() {
    return find('code').value.replace(/\D/g, '');
}

function submitCode() {
    const typed = typedCode();
    if (find('code-go').disabled) return;
    if (typed.length !== 6) {
        // A press that came just after the answer to the sixth digit must not hide that answer.
        if (typed || !find('code-message').textContent) {
            find('code-message').textContent = 'The code has six digits.';
        }
        return;
    }
    askForRoles(typed);
}

/** Shows the roles of the show, or the code's step with the reason why not. */
async function askForRoles(wanted, { remembered = false, message = '', preselect = true } = {}) {
    clearTimeout(codeTimer);
    codeTimer = 0;
    asking += 1;
    const asked = asking;
    find('code-go').disabled = true;
    find('code').value = wanted;
    const slow = setTimeout(() => {
        if (step === null) showCode('Asking the desk…');
    }, blankAtMost);
    try {
        const answer = await fetchRoles(wanted);
        if (asked !== asking) return;
        code = wanted;
        memory.code = wanted;
        find('code').value = '';
        showRoles(answer, message, preselect);
    } catch (refusal) {
        if (asked === asking) codeRefused(refusal, wanted, remembered);
    } finally {
        clearTimeout(slow);
        if (asked === asking && !codeTimer) find('code-go').disabled = false;
    }
}

function codeRefused({ error, seconds }, wanted, remembered) {
    if (error === 'wrong-code') {
        if (memory.code === wanted) memory.code = null;
        find('code').value = '';
        return showCode(remembered ? sentences.codeChanged : sentences.codeRefused(error));
    }
    showCode(sentences.codeRefused(error, seconds));
    if (error === 'slow-down') return countDown(Math.max(1, seconds));
    codeTimer = setTimeout(() => {
        codeTimer = 0;
        if (step === 'code-step' && typedCode() === wanted) askForRoles(wanted, { remembered });
        else find('code-go').disabled = false;
    }, codeRetry);
}

function countDown(seconds) {
    find('code-message').textContent = sentences.slowDown(seconds);
    codeTimer = setTimeout(() => {
        codeTimer = 0;
        if (seconds > 1) return countDown(seconds - 1);
        find('code-message').textContent = '';
        find('code-go').disabled = false;
    }, 1000);
}

// ---- The roles ----

let rolesTimer = 0;

function showRoles({ show, roles }, message, preselect) {
    find('masthead-show').textContent = show;
    setTitle(show);
    const last = roles.find(({ key }) => key === memory.role);
    role = last ?? null;
    const joinLast = find('join-last');
    joinLast.hidden = !(last && preselect);
    if (last) joinLast.querySelector('bdi').textContent = last.name;
    find('roles-message').textContent = message || (memory.role && !last ? sentences.roleGone('') : '');
    if (!last) memory.role = null;
    find('roles-title').textContent = joinLast.hidden ? 'Who are you tonight?' : 'Or somebody else';
    find('no-roles').hidden = roles.length > 0;
    showRoleRows(roles);
    for (const input of document.getElementsByName('setting')) input.checked = input.value === setting();
    showStep('roles-step');
    clearInterval(rolesTimer);
    rolesTimer = setInterval(refreshRoles, rolesEvery);
}

function showRoleRows(roles) {
    const focused = document.activeElement?.closest('#roles button')?.dataset.key;
    const rows = roles.map((listed) => {
        const row = find('role-row').content.firstElementChild.cloneNode(true);
        const button = row.querySelector('button');
        button.dataset.key = listed.key;
        row.querySelector('.role-name').textContent = listed.name;
        row.querySelector('.presence').textContent = sentences.presence(listed.present);
        button.addEventListener('click', () => join(listed));
        return row;
    });
    find('roles').replaceChildren(...rows);
    if (focused) [...find('roles').querySelectorAll('button')].find((b) => b.dataset.key === focused)?.focus();
}

/** Keeps the counts true while somebody is choosing; whatever goes wrong is told at the tap. */
async function refreshRoles() {
    if (step !== 'roles-step') return clearInterval(rolesTimer);
    if (document.visibilityState !== 'visible') return;
    try {
        const { roles } = await fetchRoles(code);
        if (step !== 'roles-step') return;
        const buttons = new Map([...find('roles').querySelectorAll('button')].map((b) => [b.dataset.key, b]));
        if (roles.length !== buttons.size || roles.some(({ key }) => !buttons.has(key))) return showRoleRows(roles);
        for (const { key, present } of roles) {
            buttons.get(key).querySelector('.presence').textContent = sentences.presence(present);
        }
    } catch {
        // the next one may work
    }
}

// ---- Joining ----

function setting() {
    return memory.setting in settings ? memory.setting : 'headset';
}

/** To be called within a tap: sound and microphone need one. */
async function join(wanted) {
    role = { key: wanted.key, name: wanted.name };
    memory.role = role.key;
    sound.unlock();
    lineShown = null;
    find('joining-role').textContent = role.name;
    find('joining-state').textContent = 'Asking for the microphone…';
    find('line-state').textContent = '';
    showStep('joining-step');
    const joining = role;
    await microphone.open(setting());
    if (role !== joining || step !== 'joining-step') return;
    announceAudioUse(microphone.track !== null);
    awake.start();
    session = new Session({
        code,
        role: role.key,
        microphone,
        sound,
        state: () => ({ talk: keys?.talking(performance.now()) ?? [], levels: view.levels }),
        told: { shown: lineChanged, joined, desk: deskChanged, unheard, ended: sessionEnded },
    });
    session.open();
}

function joined({ show, role: taken, channels }) {
    const again = step === 'desk-step';
    role = { key: taken.key, name: taken.name };
    find('role-name').textContent = role.name;
    find('menu-title').textContent = `${role.name} – ${show}`;
    find('notice').dataset.show = show;
    setTitle(`${role.name} – ${show}`);
    const isNew = view.build(role.name, channels);
    keys = new TalkKeys(view.channelsOfKeys);
    keys.setUsable(false);
    if (isNew) hands.setButtons(view.buttons, view.hasAllKey ? view.buttons.length - 1 : -1);
    view.showTalkers([]);
    for (const input of document.getElementsByName('menu-setting')) input.checked = input.value === setting();
    reconnecting = again;
    if (!again) showStep('desk-step');
    showMicrophone();
}

/** Ends the session, if there is one, and lets go of the microphone. */
function leave() {
    session?.close();
    session = null;
    keys = null;
    posted = '[]';
    lineShown = null;
    notify('');
    microphone.close();
    sound.stop();
    awake.stop();
    showMeter();
}

function sessionEnded(error) {
    const { name } = role;
    leave();
    if (error === 'wrong-code') {
        memory.code = null;
        return showCode(sentences.codeChanged);
    }
    if (error === 'no-such-role') memory.role = null;
    const message = error === 'full' ? sentences.deskFull : sentences.roleGone(name);
    askForRoles(code, { remembered: true, message });
}

// ---- The desk ----

function lineChanged(shown) {
    const was = lineShown;
    lineShown = shown;
    const words = sentences.stateWords[shown] ?? '';
    find('joining-state').textContent = words;
    find('line-state').textContent = words;
    find('desk-step').dataset.line = shown;
    if (shown === 'on-air' || (was === 'on-air' && shown !== 'closed')) say('assertive', words);
    if (shown !== 'on-air') view.showTalkers([]);
    applyKeys();
    if (shown === 'on-air' && reconnecting) notify(sentences.reconnected);
}

function hindrance() {
    if (microphone.track === null) return 'no-microphone';
    return lineShown === 'on-air' ? null : 'no-line';
}

/** Makes keys usable or not, as the line and the microphone are, and shows them. */
function applyKeys() {
    if (!keys) return;
    keys.setUsable(hindrance() === null);
    keysChanged();
}

let tailTimer = 0;
let posted = '[]';

function keysChanged() {
    const now = performance.now();
    const talking = keys?.talking(now) ?? [];
    microphone.setOn(talking.length > 0);
    if (keys) view.showKeys(keys, hindrance());
    const text = JSON.stringify(talking);
    if (text !== posted) {
        posted = text;
        session?.changed();
        if (talking.length > 0) notify(''); // what it says was read, or is old
    }
    clearTimeout(tailTimer);
    const next = keys?.nextChange(now) ?? null;
    if (next !== null) tailTimer = setTimeout(keysChanged, Math.max(1, next - now + 1));
    showLamp(talking);
    showNotice();
    showMeter();
}

function showLamp(talking) {
    const lamp = find('lamp');
    if (talking.length > 0) lamp.dataset.lamp = 'talking';
    else lamp.dataset.lamp = { 'on-air': 'ready', connecting: 'waiting' }[lineShown] ?? 'lost';
}

// The second line of the header says one thing at a time; its place is kept free, so that no key moves
// under a thumb.
let notice = '';
let noticeTimer = 0;

function notify(text) {
    if (text === notice) return;
    notice = text;
    clearTimeout(noticeTimer);
    if (text) {
        noticeTimer = setTimeout(() => notify(''), noticeStays);
        say('assertive', text);
    }
    showNotice();
}

function showNotice() {
    const talking = keys?.talking(performance.now()) ?? [];
    const names = talking.map((channel) => view.nameOf(channel)).join(', ');
    const open = names ? `You talk on ${names}` : '';
    const line = find('notice');
    const text = notice || open || line.dataset.show || '';
    if (line.textContent !== text) line.textContent = text;
    line.dataset.kind = notice ? 'notice' : open ? 'talking' : 'show';
}

let meterTimer = 0;

function showMeter() {
    const on = (keys?.talking(performance.now()).length ?? 0) > 0;
    if (!on) {
        clearInterval(meterTimer);
        meterTimer = 0;
        find('meter-bar').style.transform = 'scaleX(0)';
    } else if (!meterTimer) {
        meterTimer = setInterval(() => {
            find('meter-bar').style.transform = `scaleX(${microphone.level().toFixed(3)})`;
        }, meterEvery);
    }
}

let talkersBefore = new Set();
let talkersToSay = new Map();
let politeTimer = 0;

function deskChanged(channels) {
    view.showTalkers(channels);
    const talkers = new Map();
    channels.forEach(({ talking, announcing }, channel) => {
        for (const name of talking ?? []) talkers.set(`${channel} ${name}`, `${name} on ${view.nameOf(channel)}`);
        if (announcing) talkers.set(`${channel}`, `Announcement on ${view.nameOf(channel)}`);
    });
    for (const [who, words] of talkers) if (!talkersBefore.has(who)) talkersToSay.set(who, words);
    for (const who of talkersToSay.keys()) if (!talkers.has(who)) talkersToSay.delete(who);
    talkersBefore = new Set(talkers.keys());
    sayTalkers();
}

/** Rarely: a screen reader that names every voice would drown the voices. */
function sayTalkers() {
    if (politeTimer || talkersToSay.size === 0) return;
    say('polite', [...talkersToSay.values()].join(', '));
    talkersToSay = new Map();
    politeTimer = setTimeout(() => {
        politeTimer = 0;
        sayTalkers();
    }, politeEvery);
}

function say(region, words) {
    find(region).textContent = words;
}

function unheard() {
    if ((keys?.talking(performance.now()).length ?? 0) > 0) notify(sentences.unheard);
}

// ---- The microphone ----

function showMicrophone() {
    const missing = microphone.track === null;
    find('no-microphone').hidden = !missing;
    find('no-microphone-text').textContent = sentences.microphoneTrouble(microphone.state);
    find('microphone-again').hidden = microphone.state === 'insecure';
    applyKeys();
}

async function reopenMicrophone() {
    const current = session;
    keys?.allOff();
    keysChanged();
    await microphone.open(setting());
    if (session !== current) return microphone.close();
    announceAudioUse(microphone.track !== null);
    showMicrophone();
    session.microphoneChanged();
}

function chooseSetting(name) {
    memory.setting = name;
    if (step === 'desk-step' && microphone.track !== null) reopenMicrophone();
}

// ---- Wiring ----

find('code-form').addEventListener('submit', (event) => {
    event.preventDefault();
    submitCode();
});
find('code').addEventListener('input', (event) => {
    if (event.inputType?.startsWith('insert') && typedCode().length === 6) submitCode();
});
find('join-last').addEventListener('click', () => role && join(role));
find('other-code').addEventListener('click', () => {
    clearInterval(rolesTimer);
    memory.code = null;
    showCode();
});
find('joining-cancel').addEventListener('click', () => {
    leave();
    askForRoles(code, { remembered: true });
});
find('hear').addEventListener('click', () => sound.play());
find('microphone-again').addEventListener('click', reopenMicrophone);
for (const name of ['setting', 'menu-setting']) {
    for (const input of document.getElementsByName(name)) {
        input.addEventListener('change', () => chooseSetting(input.value));
    }
}
find('menu-open').addEventListener('click', () => find('menu').showModal());
find('menu-close').addEventListener('click', () => find('menu').close());
find('change-role').addEventListener('click', () => {
    leave();
    askForRoles(code, { remembered: true, preselect: false });
});
find('leave').addEventListener('click', () => {
    leave();
    askForRoles(code, { remembered: true, message: 'You left the desk. Your microphone is off.' });
});
find('channels-area').addEventListener('scroll', () => hands.scrolled(), { passive: true });
let leftTalking = false;
document.addEventListener('visibilitychange', () => {
    if (!keys) return;
    if (document.visibilityState === 'visible') {
        if (leftTalking) notify(sentences.pageWasLeft);
        leftTalking = false;
    } else {
        // Nobody sees the lamp now: an open microphone would be a trap.
        leftTalking = keys.allOff();
        keysChanged();
    }
});
window.addEventListener('hashchange', start);

/** Begins with what the address says (a card was scanned), else with what this device remembers. */
function start() {
    const { code: given, role: wished } = takeFragment();
    if (step !== null && given === null) return;
    leave();
    if (wished) memory.role = wished;
    const known = given ?? memory.code;
    if (known) askForRoles(known, { remembered: given === null });
    else showCode();
}

start();
