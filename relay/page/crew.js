// The crew's page: enter the code, choose a role, talk and listen.
import { Awake } from './awake.js';
import { fetchRoles } from './desk-api.js';
import { DeskView } from './desk-view.js';
import { KeyHands } from './key-hands.js';
import { memory, takeFragment } from './memory.js';
import { Microphone, settings } from './microphone.js';
import * as sentences from './sentences.js';
import { Session } from './session.js';
import { announceAudioUse, Sound } from './sound.js';
import { TalkKeys } from './talk-keys.js';

// Milliseconds
const maxBlankTime = 500; // until the first step is shown while the desk has not responded
const rolesInterval = 5000;
const codeRetryInterval = 3000;
const noticeTimeout = 12000;
const politeInterval = 5000;
const meterInterval = 66;

const find = (id) => document.getElementById(id);
const steps = ['code-step', 'roles-step', 'joining-step', 'desk-step'];

let step = null;
let code = null;
let role = null; // {key, name} of the role joined or requested
let session = null;
let keys = null;
let reconnecting = false;
let status = null; // of the connection

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
let lastRequest = 0; // for the roles; responses to older ones are stale

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
        // Pressing the button just after the sixth digit was rejected must not hide the reason.
        if (typed || !find('code-message').textContent) find('code-message').textContent = sentences.sixDigits;
        return;
    }
    requestRoles(typed);
}

/** Shows the roles of the show, or the code step with the reason why not. */
async function requestRoles(wanted, { remembered = false, message = '', preselect = true } = {}) {
    clearTimeout(codeTimer);
    codeTimer = 0;
    lastRequest += 1;
    const request = lastRequest;
    find('code-go').disabled = true;
    find('code').value = wanted;
    const slow = setTimeout(() => {
        if (step === null) showCode('Contacting the desk…');
    }, maxBlankTime);
    try {
        const response = await fetchRoles(wanted);
        if (request !== lastRequest) return;
        code = wanted;
        memory.code = wanted;
        find('code').value = '';
        showRoles(response, message, preselect);
    } catch (error) {
        if (request === lastRequest) codeFailed(error, wanted, remembered);
    } finally {
        clearTimeout(slow);
        if (request === lastRequest && !codeTimer) find('code-go').disabled = false;
    }
}

function codeFailed({ error, seconds }, wanted, remembered) {
    if (error === 'wrong-code') {
        if (memory.code === wanted) memory.code = null;
        find('code').value = '';
        return showCode(remembered ? sentences.codeChanged : sentences.codeError(error, false));
    }
    showCode(sentences.codeError(error, true));
    if (error === 'slow-down') return countDown(Math.max(1, seconds));
    codeTimer = setTimeout(() => {
        codeTimer = 0;
        if (step === 'code-step' && typedCode() === wanted) requestRoles(wanted, { remembered });
        else find('code-go').disabled = false;
    }, codeRetryInterval);
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
    find('roles-title').textContent = joinLast.hidden ? 'Who are you tonight?' : 'Or choose another role';
    find('no-roles').hidden = roles.length > 0;
    showRoleRows(roles);
    for (const input of document.getElementsByName('setting')) input.checked = input.value === setting();
    showStep('roles-step');
    clearInterval(rolesTimer);
    rolesTimer = setInterval(refreshRoles, rolesInterval);
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

/** Keeps the counts up to date while the user chooses. Errors are reported when a role is tapped. */
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

/** Must be called within a tap: sound and microphone need one. */
async function join(wanted) {
    role = { key: wanted.key, name: wanted.name };
    memory.role = role.key;
    sound.unlock();
    status = null;
    find('joining-role').textContent = role.name;
    find('joining-state').textContent = 'Asking for the microphone…';
    find('connection-state').textContent = '';
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
        state: () => ({ talk: talkingNow(), levels: view.levels }),
        callbacks: { status: statusChanged, joined, desk: talkersChanged, unheard, ended: sessionEnded },
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

/** Ends the session, if there is one, and releases the microphone. */
function leave() {
    session?.close();
    session = null;
    keys = null;
    posted = '[]';
    status = null;
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
    requestRoles(code, { remembered: true, message });
}

// ---- Talking and listening ----

function statusChanged(newStatus) {
    const wasOnAir = status === 'on-air';
    status = newStatus;
    if (status === 'lost' && step === 'desk-step') reconnecting = true;
    const words = sentences.statusWords[status] ?? '';
    find('joining-state').textContent = words;
    find('connection-state').textContent = words;
    find('desk-step').dataset.status = status;
    if (status === 'on-air' || (wasOnAir && status !== 'closed')) say('assertive', words);
    if (status !== 'on-air') view.showTalkers([]);
    applyKeys();
    if (status === 'on-air' && reconnecting) notify(sentences.reconnected);
}

/** Why no key works, or null. */
function blocked() {
    if (microphone.track === null) return 'no-microphone';
    return status === 'on-air' ? null : 'offline';
}

/** Enables the keys if there are a connection and a microphone, and shows them. */
function applyKeys() {
    if (!keys) return;
    keys.setUsable(blocked() === null);
    keysChanged();
}

/** The channels that are open now. */
function talkingNow() {
    return keys?.talking(performance.now()) ?? [];
}

let hangTimer = 0;
let posted = '[]';

function keysChanged() {
    const now = performance.now();
    const talking = keys?.talking(now) ?? [];
    microphone.setOn(talking.length > 0);
    if (keys) view.showKeys(keys, blocked());
    const text = JSON.stringify(talking);
    if (text !== posted) {
        posted = text;
        session?.changed();
        if (talking.length > 0) notify(''); // it was read, or is out of date
    }
    clearTimeout(hangTimer);
    const next = keys?.nextChange(now) ?? null;
    if (next !== null) hangTimer = setTimeout(keysChanged, Math.max(1, next - now + 1));
    showLamp(talking);
    showNotice();
    showMeter();
}

function showLamp(talking) {
    const lamp = find('lamp');
    if (talking.length > 0) lamp.dataset.lamp = 'talking';
    else lamp.dataset.lamp = { 'on-air': 'ready', connecting: 'waiting' }[status] ?? 'lost';
}

// The second row of the header shows one thing at a time. Its space is reserved, so that no key moves under a thumb.
let notice = '';
let noticeTimer = 0;

function notify(text) {
    if (text === notice) return;
    notice = text;
    clearTimeout(noticeTimer);
    if (text) {
        noticeTimer = setTimeout(() => notify(''), noticeTimeout);
        say('assertive', text);
    }
    showNotice();
}

function showNotice() {
    const names = talkingNow().map((channel) => view.nameOf(channel)).join(', ');
    const open = names ? `You are talking on ${names}` : '';
    const element = find('notice');
    const text = notice || open || element.dataset.show || '';
    if (element.textContent !== text) element.textContent = text;
    element.dataset.kind = notice ? 'notice' : open ? 'talking' : 'show';
}

let meterTimer = 0;

function showMeter() {
    if (talkingNow().length === 0) {
        clearInterval(meterTimer);
        meterTimer = 0;
        find('meter-bar').style.transform = 'scaleX(0)';
    } else if (!meterTimer) {
        meterTimer = setInterval(() => {
            find('meter-bar').style.transform = `scaleX(${microphone.level().toFixed(3)})`;
        }, meterInterval);
    }
}

let talkersBefore = new Set();
let talkersToSay = new Map();
let politeTimer = 0;

function talkersChanged(channels) {
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

/** At intervals: a screen reader that announces everyone at once would drown them out. */
function sayTalkers() {
    if (politeTimer || talkersToSay.size === 0) return;
    say('polite', [...talkersToSay.values()].join(', '));
    talkersToSay = new Map();
    politeTimer = setTimeout(() => {
        politeTimer = 0;
        sayTalkers();
    }, politeInterval);
}

function say(region, words) {
    find(region).textContent = words;
}

function unheard() {
    if (talkingNow().length > 0) notify(sentences.unheard);
}

// ---- The microphone ----

function showMicrophone() {
    const missing = microphone.track === null;
    find('no-microphone').hidden = !missing;
    find('no-microphone-text').textContent = sentences.microphoneTrouble[microphone.state] ?? '';
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
    requestRoles(code, { remembered: true });
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
    requestRoles(code, { remembered: true, preselect: false });
});
find('leave').addEventListener('click', () => {
    leave();
    requestRoles(code, { remembered: true, message: 'You have left. Your microphone is off.' });
});
find('channels-area').addEventListener('scroll', () => hands.scrolled(), { passive: true });
let leftTalking = false;
document.addEventListener('visibilitychange', () => {
    if (!keys) return;
    if (document.visibilityState === 'visible') {
        if (leftTalking) notify(sentences.pageWasLeft);
        leftTalking = false;
    } else {
        // The lamp is out of sight: no microphone may stay open.
        leftTalking = keys.allOff();
        keysChanged();
    }
});
window.addEventListener('hashchange', start);

/** Starts with the code and role in the address (a scanned card), or with what this device remembers. */
function start() {
    const { code: given, role: wanted } = takeFragment();
    if (step !== null && given === null) return;
    leave();
    if (wanted) memory.role = wanted;
    const known = given ?? memory.code;
    if (known) requestRoles(known, { remembered: given === null });
    else showCode();
}

start();
