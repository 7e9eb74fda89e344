// The crew's page: enter the code, choose a role, talk and listen.
import { Awake } from './awake.js';
import { DeskView } from './desk-view.js';
import { Device } from './device.js';
import { Entry, roleName, setTitle } from './entry.js';
import { KeyHands } from './key-hands.js';
import { Levels } from './levels.js';
import { memory, takeFragment } from './memory.js';
import { Microphone, settings } from './microphone.js';
import { fractionOf, MicrophoneCheck, showMicrophones } from './microphone-check.js';
import { Announcements, EndTone, Notices, TalkersTeller, tell, vibrate } from './notices.js';
import { fillTexts, language, languages, say, setLanguage } from './sentences.js';
import { Session } from './session.js';
import { SignalView } from './signal-view.js';
import { announceAudioUse, Sound } from './sound.js';
import { showStep, step } from './steps.js';
import { TalkKeys } from './talk-keys.js';
import { SilenceWatch, SleepWatch } from './watches.js';

// Milliseconds
const promptTimeout = 4000; // after which the person may go on without the microphone
const meterInterval = 66;
const sleepInterval = 500;

const statusWords = { 'on-air': 'onAir', connecting: 'connecting', lost: 'lost', 'off-air': 'offAir' };

const find = (id) => document.getElementById(id);

let role = null; // {key, name} of the role joined or requested
let session = null;
let keys = null;
let reconnecting = false;
let status = null; // of the connection

const microphone = new Microphone({
    ended: () => {
        endTalking('microphoneGone');
        showMicrophone();
        session?.microphoneChanged();
    },
    mayBeBack: async () => {
        if (step !== 'desk-step' || !(await openMicrophone()) || microphone.track === null) return;
        notices.notify(say('microphoneIsBack'));
    },
});
const sound = new Sound(find('sound'), (refused) => {
    find('hear').hidden = !refused;
});
const endTone = new EndTone();
const awake = new Awake(() => {
    find('awake-note').hidden = false;
});
const device = new Device(awake);
const notices = new Notices();
const announcements = new Announcements();
const talkersTeller = new TalkersTeller();
const levels = new Levels(find('level-rows'), (words) => {
    view.showSilenced(levels.silenced);
    session?.isChanging();
    tell('own', words);
});
const view = new DeskView({
    area: find('channels-area'),
    list: find('channels'),
    heard: find('heard'),
    heardArea: find('heard-area'),
    allArea: find('all-area'),
    empty: find('no-channels'),
});
const signals = new SignalView({
    nameOf: (channel) => view.nameOf(channel),
    // One that was not taken stays on the screen, to be tapped again.
    answer: ({ channel, kind }) => session?.acknowledge(channel, kind === 'call').catch(() => {}),
    call: (channel, on) => session?.call(channel, on).catch(callFailed),
});
const hands = new KeyHands({
    keys: () => keys,
    changed: keysChanged,
    cutOff: () => talkingEnded('cutOff'),
    keysScroll: () => view.scrolls,
});
const entry = new Entry(join);
const check = new MicrophoneCheck(microphone, openMicrophone);

// The newest page of this browser is the one in use: two would play each other's voice back.
const otherPages = 'BroadcastChannel' in window ? new BroadcastChannel('wingbell.joined') : null;
otherPages?.addEventListener('message', () => {
    if (step !== 'joining-step' && step !== 'desk-step') return;
    leave();
    entry.backToRoles(say('otherTab'));
});

// ---- Joining ----

function setting() {
    return memory.setting in settings ? memory.setting : 'headset';
}

/** Must be called within a tap: sound and microphone need one. */
async function join(wanted) {
    role = { key: wanted.key, name: roleName(wanted) };
    memory.role = role.key;
    otherPages?.postMessage('joined');
    sound.unlock();
    endTone.unlock();
    signals.unlock();
    status = null;
    find('joining-role').textContent = say('joiningAs', { name: role.name });
    find('joining-state').textContent = say('askingForMicrophone');
    find('connection-state').textContent = '';
    showStep('joining-step');
    const joining = role;
    await microphoneOrNot();
    if (role !== joining || step !== 'joining-step') return;
    announceAudioUse(microphone.track !== null);
    awake.start();
    session = new Session({
        credential: entry.credential,
        role: role.key,
        microphone,
        sound,
        state: () => ({ talk: talkingNow(), levels: levels.factors, ...device.report }),
        callbacks: {
            status: statusChanged,
            joined,
            desk: talkersChanged,
            unheard: () => talkingNow().length > 0 && notices.notify(say('unheard')),
            forgotten,
            closed: () => endTalking('closedByDesk'),
            announcement: (text) => announcements.begin(text, say('announcementText', { text })),
            ended: sessionEnded,
        },
    });
    session.open();
}

/** Waits for the microphone, but lets the person go on without while the browser's question is not answered. */
async function microphoneOrNot() {
    const isTested = check.isRunning && microphone.track;
    check.stop();
    if (isTested) return; // it is open
    const listen = find('joining-listen');
    const slow = setTimeout(() => {
        listen.hidden = false;
        find('joining-state').textContent = say('answerThePrompt');
    }, promptTimeout);
    const tapped = new Promise((resolve) => {
        listen.onclick = resolve;
    });
    await Promise.race([openMicrophone(), tapped]);
    clearTimeout(slow);
    listen.hidden = true;
}

let deskShown = null; // the desk's response to joining

function joined(response) {
    const again = step === 'desk-step';
    deskShown = response;
    showDesk(response);
    keys = new TalkKeys(view.channelsOfKeys);
    keys.setUsable(false);
    view.showTalkers([]);
    reconnecting = again;
    if (!again) {
        showStep('desk-step');
        if (!history.state?.isOnDesk) history.pushState({ isOnDesk: true }, '');
    }
    showMicrophone();
}

function showDesk({ show, role: taken, channels }) {
    role = { key: taken.key, name: roleName(taken) };
    find('role-name').textContent = role.name;
    const title = say('show', { role: role.name, show });
    find('menu-title').textContent = title;
    setTitle(title);
    notices.setShow(show);
    levels.build(role.name, channels);
    if (view.build(channels, language)) hands.setButtons(view.buttons, view.hasAllKey ? view.buttons.length - 1 : -1);
    view.showSilenced(levels.silenced);
    signals.build(channels);
}

/** Ends the session, if there is one, and releases the microphone. */
function leave() {
    session?.close();
    session = null;
    keys = null;
    posted = '[]';
    status = null;
    notices.notify('');
    notices.warn('');
    notices.setTalking('');
    microphone.close();
    sound.stop();
    awake.stop();
    signals.update([]);
    showMeter([]);
}

function sessionEnded(error) {
    const { name } = role;
    leave();
    if (error === 'wrong-code') {
        memory.credential = null;
        return entry.showCode(say(entry.credential.key ? 'cardChanged' : 'codeChanged'));
    }
    if (error === 'no-such-role') memory.role = null;
    entry.backToRoles(error === 'full' ? say('deskFull') : say('roleGone', { name }));
}

// ---- Talking and listening ----

function statusChanged(newStatus) {
    const wasOnAir = status === 'on-air';
    status = newStatus;
    if (status === 'lost' && step === 'desk-step') reconnecting = true;
    const words = status in statusWords ? say(statusWords[status]) : '';
    find('joining-state').textContent = words;
    find('connection-state').textContent = words;
    find('desk-step').dataset.status = status;
    if (status === 'on-air' || (wasOnAir && status !== 'closed')) tell('assertive', words);
    if (status !== 'on-air') {
        view.showTalkers([]);
        signals.update([]);
    }
    const isCutOff = status !== 'on-air' && keys?.allOff();
    applyKeys();
    if (isCutOff) signalEnd();
    if (status === 'on-air' && reconnecting) notices.notify(say('reconnected'));
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
    // A state that is posted as a device wakes must not open a key again.
    if (sleep.slept(Date.now())) endTalking('slept');
    return keys?.talking(performance.now()) ?? [];
}

/** Turns the keys off, and says why if one was on. */
function endTalking(reason) {
    if (!keys?.allOff()) return;
    keysChanged();
    talkingEnded(reason);
}

/** Talking has ended, though the person did not end it: that must be felt, heard and seen. */
function talkingEnded(reason) {
    notices.notify(say(reason));
    signalEnd();
}

function signalEnd() {
    vibrate('ended');
    if (setting() === 'headset') endTone.play(); // a loudspeaker would sound in the wings
}

/** The desk tells of channels that were open for a long time without a word. */
function forgotten(channels) {
    const open = new Set(talkingNow());
    const names = channels.filter((channel) => open.has(channel)).map((channel) => view.nameOf(channel));
    if (names.length === 0) return;
    notices.notify(say('stillOpen', { channels: names.join(', ') }));
    vibrate('ended');
}

let keyTimer = 0;
let posted = '[]';
let latchesBefore = '[]';

function keysChanged() {
    const now = performance.now();
    const talking = keys?.talking(now) ?? [];
    microphone.setOn(talking.length > 0);
    if (keys) view.showKeys(keys, now, blocked());
    const latches = JSON.stringify(view.buttons.map((_, key) => key).filter((key) => keys?.state(key, now) === 'latched'));
    const text = JSON.stringify(talking);
    if (text !== posted) {
        if (talking.length > JSON.parse(posted).length) vibrate('opened');
        posted = text;
        session?.changed();
        if (talking.length > 0) notices.notify(''); // it was read, or is out of date
    }
    if (latches !== latchesBefore && keys) vibrate('latched');
    tellKeys(talking, latches);
    latchesBefore = latches;
    clearTimeout(keyTimer);
    const next = keys?.nextChange(now) ?? null;
    if (next !== null) keyTimer = setTimeout(keysChanged, Math.max(1, next - now + 1));
    showLamp(talking);
    const talkingOn = talking.length > 0 ? say('talkingOn', { channels: namesOf(talking) }) : '';
    notices.setTalking(talkingOn);
    find('menu-talking').textContent = talkingOn;
    find('menu-talking').hidden = talkingOn === '';
    showMeter(talking);
}

const namesOf = (channels) => channels.map((channel) => view.nameOf(channel)).join(', ');

let toldKeys = '';

/** Tells a screen reader of the person's own keys, and held from latched. */
function tellKeys(talking, latches) {
    const key = latches !== '[]' ? 'latchedOn' : talking.length > 0 ? 'talkingOn' : 'notTalking';
    const words = say(key, { channels: namesOf(talking) });
    if (words !== toldKeys && toldKeys !== '') tell('own', words);
    toldKeys = words;
}

function showLamp(talking) {
    const lamp = find('lamp');
    if (talking.length > 0) lamp.dataset.lamp = 'talking';
    else lamp.dataset.lamp = { 'on-air': 'ready', connecting: 'waiting' }[status] ?? 'lost';
}

let meterTimer = 0;
const silence = new SilenceWatch();
const silenceWords = { muted: 'microphoneMuted', silent: 'microphoneSilent' };

function showMeter(talking) {
    if (talking.length > 0) meterTimer ||= setInterval(meter, meterInterval);
    else {
        clearInterval(meterTimer);
        meterTimer = 0;
    }
    meter();
}

/** Shows the level of the open microphone, and says if it brings nothing. */
function meter() {
    const level = microphone.level();
    find('meter-bar').style.transform = `scaleX(${fractionOf(level).toFixed(3)})`;
    const { isMuted } = microphone;
    const trouble = silence.update(performance.now(), { isOpen: meterTimer !== 0, isMuted, level });
    notices.warn(trouble ? say(silenceWords[trouble]) : '');
}

function callFailed({ error, seconds }) {
    notices.notify(error === 'slow-down' ? say('callSlowDown', { count: Math.max(1, seconds) }) : say('callFailed'));
}

function talkersChanged(channels) {
    view.showTalkers(channels);
    signals.update(channels);
    announcements.update(channels.some(({ announcing }) => announcing));
    const talkers = new Map();
    channels.forEach(({ talking, announcing }, index) => {
        const channel = view.nameOf(index);
        for (const name of talking ?? []) talkers.set(`${index} ${name}`, say('nameOnChannel', { name, channel }));
        if (announcing) talkers.set(`${index}`, say('announcementOn', { channel }));
    });
    talkersTeller.update(talkers);
}

// ---- The microphone ----

let listensOnly = false; // chose to go on without a microphone

function showMicrophone() {
    const missing = microphone.track === null;
    if (!missing) listensOnly = false;
    const reason = microphone.state === 'asking' ? 'unanswered' : microphone.state;
    find('no-microphone').hidden = !missing || listensOnly;
    if (missing && reason !== 'closed') find('no-microphone-text').textContent = say(reason);
    find('microphone-again').hidden = microphone.state === 'insecure';
    find('menu-microphone').hidden = !missing || microphone.state === 'insecure';
    applyKeys();
}

/** Asks for the microphone, again if it is open. False if it was closed or asked for again meanwhile. */
async function openMicrophone() {
    keys?.allOff();
    keysChanged();
    const isCurrent = await microphone.open(setting(), memory.device);
    if (!isCurrent || !session) return isCurrent;
    announceAudioUse(microphone.track !== null);
    listensOnly = false;
    showMicrophone();
    session.microphoneChanged();
    return true;
}

function chooseSetting(name) {
    memory.setting = name;
    showSetting();
    if (step === 'desk-step' && microphone.track !== null) openMicrophone();
    else if (check.isRunning) check.start();
}

function showSetting() {
    for (const input of document.querySelectorAll('.choice input')) input.checked = input.value === setting();
}

async function chooseMicrophone(device) {
    memory.device = device;
    if (step === 'roles-step') return check.start();
    await openMicrophone();
    showMicrophones(microphone);
}

// ---- The language ----

function chooseLanguage(name) {
    setLanguage(name);
    showLanguage();
    if (step === 'desk-step') {
        showDesk(deskShown);
        statusChanged(status);
        showMicrophone();
    } else if (entry.credential) entry.backToRoles();
    else entry.showCode();
}

function showLanguage() {
    fillTexts(document);
    for (const choice of document.querySelectorAll('.languages')) {
        choice.replaceChildren(
            ...Object.entries(languages).map(([code, { name }]) => new Option(name, code, false, code === language)),
        );
    }
}

// ---- Wiring ----

find('joining-cancel').addEventListener('click', () => {
    leave();
    entry.backToRoles();
});
find('hear').addEventListener('click', () => sound.play());
find('microphone-again').addEventListener('click', openMicrophone);
find('microphone-never').addEventListener('click', () => {
    listensOnly = true;
    showMicrophone();
});
find('menu-microphone').addEventListener('click', () => {
    find('menu').close();
    openMicrophone();
});
for (const input of document.querySelectorAll('.choice input')) {
    input.addEventListener('change', () => chooseSetting(input.value));
}
for (const choice of document.querySelectorAll('.microphones')) {
    choice.addEventListener('change', () => chooseMicrophone(choice.value));
}
for (const choice of document.querySelectorAll('.languages')) {
    choice.addEventListener('change', () => chooseLanguage(choice.value));
}
find('menu-open').addEventListener('click', openMenu);
find('menu-close').addEventListener('click', () => find('menu').close());
find('calls-open').addEventListener('click', () => find('calls').showModal());
find('calls-close').addEventListener('click', () => find('calls').close());
find('wings').addEventListener('change', () => {
    memory.wings = find('wings').checked ? 'on' : null;
    showWings();
});
find('levels-open').addEventListener('click', () => find('levels').showModal());
find('levels-close').addEventListener('click', () => find('levels').close());
find('change-role').addEventListener('click', () => {
    leave();
    entry.backToRoles('', false);
});
find('leave').addEventListener('click', () => {
    leave();
    entry.backToRoles(say('youHaveLeft'));
});

function openMenu() {
    showMicrophones(microphone);
    find('menu').showModal();
}

// Back opens the menu, and leaves only from there: it is pressed by accident, and a key may be open.
window.addEventListener('popstate', () => {
    if (step !== 'desk-step') return;
    if (find('menu').open) {
        leave();
        return entry.backToRoles(say('youHaveLeft'));
    }
    history.pushState({ isOnDesk: true }, '');
    const open = ['levels', 'calls'].find((id) => find(id).open);
    if (open) find(open).close();
    else openMenu();
});

let leftTalking = false;
document.addEventListener('visibilitychange', () => {
    if (!keys) return;
    if (document.visibilityState === 'visible') {
        if (leftTalking) talkingEnded('pageWasLeft');
        leftTalking = false;
    } else {
        // The lamp is out of sight: no microphone may stay open.
        leftTalking = keys.allOff();
        keysChanged();
    }
});
const sleep = new SleepWatch(Date.now());
setInterval(talkingNow, sleepInterval);
window.addEventListener('hashchange', start);

/** Starts with the code and role in the address (a scanned card), or with what this device remembers. */
function start() {
    const { credential: given, role: wanted } = takeFragment();
    if (step !== null && given === null) return;
    leave();
    if (!window.RTCPeerConnection) return showStep('no-voice-step');
    if (wanted) memory.role = wanted;
    const known = given ?? memory.credential;
    if (known) entry.requestRoles(known, { remembered: given === null });
    else entry.showCode();
}

/** Black, with lights, keys and names only: for the dark beside the stage. */
function showWings() {
    find('wings').checked = memory.wings === 'on';
    document.body.classList.toggle('in-wings', memory.wings === 'on');
}

showLanguage();
showSetting();
showWings();
start();
