// The desk's own page: who is there, whose keys are open, and what can be done about it. It never opens a key.
import { closeKeys, deskEventsAddress, openDesk, signal, silence, speak } from './desk-api.js';
import { instance, setText } from './desk-view.js';
import { memory, takeFragment } from './memory.js';
import { tell } from './notices.js';
import { duration, notesOf, signalsOf } from './overview.js';
import { fillTexts, language, languages, say, setLanguage } from './sentences.js';

// Milliseconds
const lostTimeout = 6000; // the desk sends a heartbeat every 2 s
const retryInterval = 1000;
const tickInterval = 250;
const maxSpoken = 500; // characters
const maxLightText = 60;

const find = (id) => document.getElementById(id);

let key = null;
let opened = null; // the desk's response: {session, show, channels, roles}
let events = null;
let heardAt = 0; // of the desk
let crew = { members: [], channels: [] };
let clockOffset = 0; // from performance.now() to the clock of the desk
let status = 'connecting';
let message = { key: null };
let retryTimer = 0;
let openBefore = null; // what a screen reader was told

const nameOf = (list, place, unnamed) => list?.[place] || say(unnamed);
const roleName = (place) => nameOf(opened?.roles, place, 'unnamedRole');
const channelName = (place) => nameOf(opened?.channels, place, 'unnamedChannel');
const deskNow = () => performance.now() + clockOffset;

// ---- The connection ----

async function open() {
    clearTimeout(retryTimer);
    try {
        opened = await openDesk(key);
    } catch ({ error }) {
        if (error === 'wrong-key') return refuse('deskKeyWrong');
        return retry();
    }
    build();
    find('no-key').hidden = true;
    find('desk').hidden = false;
    listen();
}

function retry() {
    if (status !== 'off-air') setStatus(opened ? 'lost' : 'connecting');
    clearTimeout(retryTimer);
    retryTimer = setTimeout(open, retryInterval);
}

/** Asks for the whole address. */
function refuse(reason) {
    memory.deskKey = null;
    showReason(reason);
}

function showReason(reason) {
    find('desk').hidden = true;
    find('no-key').hidden = false;
    find('no-key').dataset.reason = reason;
    setText(find('no-key-text'), say(reason));
}

function listen() {
    events?.close();
    events = new EventSource(deskEventsAddress(opened.session));
    heardAt = performance.now();
    const on = (name, call) => {
        events.addEventListener(name, ({ data }) => {
            heardAt = performance.now();
            call(data);
        });
    };
    on('beat', () => setStatus('on-air'));
    on('crew', (data) => {
        const news = JSON.parse(data);
        crew = news.crew;
        clockOffset = news.now - performance.now();
        setStatus('on-air');
        draw();
    });
    on('goodbye', () => lose('off-air'));
    on('replaced', () => {
        events.close();
        events = null;
        showReason('deskReplaced');
    });
    // An EventSource reconnects by itself; only an error response closes it.
    events.addEventListener('error', () => events.readyState === EventSource.CLOSED && lose('lost'));
}

function lose(why) {
    events?.close();
    events = null;
    setStatus(why);
    retry();
}

function setStatus(name) {
    if (name === status) return;
    status = name;
    showStatus();
    tell('assertive', find('connection-state').textContent);
}

function showStatus() {
    const words = { 'on-air': 'onAir', connecting: 'connecting', lost: 'lost', 'off-air': 'offAir' };
    setText(find('connection-state'), say(words[status]));
    find('lamp').dataset.lamp = { 'on-air': 'ready', connecting: 'waiting' }[status] ?? 'lost';
    document.body.dataset.status = status;
}

// ---- Who is there ----

function build() {
    setText(find('desk-show'), opened.show);
    document.title = say('deskTitle', { show: opened.show });
    find('role-list').replaceChildren(
        ...opened.roles.map((_, place) => {
            const row = instance('role-row');
            row.querySelector('.role-name').textContent = roleName(place);
            return row;
        }),
    );
    buildChannels();
    buildSignals();
    draw();
}

function draw() {
    if (!opened) return;
    const now = deskNow();
    [...find('role-list').children].forEach((row, place) => {
        const members = crew.members.filter(({ role }) => role === place);
        showMembers(row.querySelector('.people'), members, now);
    });
    const open = crew.members.flatMap(({ role, open: keys }) =>
        keys.map(({ channel, since }) => ({ name: roleName(role), channel: channelName(channel), since })),
    );
    open.sort((a, b) => a.since - b.since);
    const words = open.map(({ name, channel, since }) =>
        say('openKey', { name, channel, time: duration(now - since) }),
    );
    setText(find('open-now'), words.join('   ') || say('noKeyOpen'));
    find('open-now').classList.toggle('open', open.length > 0);
    find('close-all').disabled = open.length === 0 && document.activeElement !== find('close-all');
    tellOpenKeys(open);
    for (const place of opened.channels.keys()) {
        const channel = crew.channels[place] ?? {};
        find('speak-channels').children[place].classList.toggle('announcing', channel.announcing === true);
        const row = find('signal-rows').children[place];
        setText(row.querySelector('.signal-state'), signalsOf(channel).join(' · ') || say('noSignal'));
        row.dataset.light = channel.light?.kind ?? '';
        row.classList.toggle('called', Boolean(channel.call));
    }
}

/** Rows stay where they are as long as their member is there: a button must not move under a finger. */
function showMembers(list, members, now) {
    const rows = new Map([...list.children].map((row) => [row.dataset.id, row]));
    const wanted = members.length > 0 ? members.map(({ id }) => String(id)) : ['none'];
    for (const [id, row] of rows) if (!wanted.includes(id)) row.remove();
    for (const id of wanted) if (!rows.has(id)) list.append(newRow(id));
    for (const member of members) {
        showMember([...list.children].find(({ dataset }) => dataset.id === String(member.id)), member, now);
    }
}

function newRow(id) {
    const row = instance(id === 'none' ? 'empty-place' : 'person');
    row.dataset.id = id;
    if (id === 'none') setText(row, say('noOneYet'));
    else row.querySelector('.close-keys').addEventListener('click', () => close(Number(id)));
    return row;
}

function showMember(row, member, now) {
    const isOpen = member.open.length > 0;
    row.classList.toggle('open', isOpen);
    row.classList.toggle('gone', !member.connected);
    const keys = member.open.map(({ channel, since }) =>
        say('openSince', { channel: channelName(channel), time: duration(now - since) }),
    );
    setText(row.querySelector('.keys'), keys.join('   ') || say('keysClosed'));
    const notes = notesOf(member, now);
    const shown = row.querySelector('.member-notes');
    while (shown.children.length > notes.length) shown.lastElementChild.remove();
    while (shown.children.length < notes.length) shown.append(document.createElement('li'));
    notes.forEach(({ text, isBad }, place) => {
        setText(shown.children[place], text);
        shown.children[place].classList.toggle('bad', isBad);
    });
    const button = row.querySelector('.close-keys');
    setText(button, say('closeKeys'));
    button.setAttribute('aria-label', say('closeKeysOf', { name: roleName(member.role) }));
    button.disabled = !isOpen && document.activeElement !== button; // which would lose the focus
}

/** Tells a screen reader which keys were opened; the times are read on demand. */
function tellOpenKeys(open) {
    const names = open.map(({ name, channel }) => say('nameOnChannel', { name, channel }));
    const begun = names.filter((name) => openBefore && !openBefore.includes(name));
    if (begun.length > 0) tell('polite', say('keysOpened', { names: begun.join(', ') }));
    openBefore = names;
}

// ---- What can be done ----

/** Runs a request and says what came of it. */
async function act(request, done) {
    try {
        const response = await request();
        showMessage(...done(response));
    } catch ({ error }) {
        const known = { 'too-many-waiting': 'tooManyWaiting', 'blank-text': 'blankText', 'no-channel': 'noChannelChosen' };
        showMessage(known[error] ?? 'deskDidNothing');
        if (error === 'no-such-session') lose('lost');
    }
}

function showMessage(name, values = {}) {
    message = { key: name, values };
    setText(find('message'), name ? say(name, values) : '');
}

function close(member) {
    act(
        () => closeKeys(opened.session, member),
        ({ count }) => (count > 0 ? ['closedKeys', { count }] : ['noKeyOpen']),
    );
}

function buildChannels() {
    const chosen = chosenChannels();
    find('speak-channels').replaceChildren(
        ...opened.channels.map((_, place) => {
            const choice = instance('channel-choice');
            choice.querySelector('span').textContent = channelName(place);
            choice.querySelector('input').checked = chosen.includes(place);
            return choice;
        }),
    );
}

function buildSignals() {
    find('signal-rows').replaceChildren(
        ...opened.channels.map((_, place) => {
            const row = instance('signal-row');
            row.querySelector('.signal-channel').textContent = channelName(place);
            for (const button of row.querySelectorAll('button')) {
                const what = button.dataset.signal;
                button.textContent = say(`signal-${what}`);
                button.setAttribute('aria-label', say('signalOn', { what: say(`signal-${what}`), channel: channelName(place) }));
                button.addEventListener('click', () => send(what, place));
            }
            return row;
        }),
    );
}

/** A light's text goes with it; clear ends the call as well. */
function send(what, place) {
    const isLight = what === 'standby' || what === 'go';
    const text = isLight ? find('light-text').value.trim() : '';
    act(
        () => signal(opened.session, what, [place], text),
        () => ['signalSent', { what: say(`signal-${what}`), channel: channelName(place) }],
    );
}

function chosenChannels() {
    const boxes = [...find('speak-channels').querySelectorAll('input')];
    return boxes.flatMap(({ checked }, place) => (checked ? [place] : []));
}

find('close-all').addEventListener('click', () => close());
find('silence').addEventListener('click', () =>
    act(
        () => silence(opened.session),
        ({ count }) => [count > 0 ? 'silenced' : 'nothingToSilence'],
    ),
);
find('speak-all').addEventListener('click', () => {
    const boxes = [...find('speak-channels').querySelectorAll('input')];
    const isEvery = boxes.every(({ checked }) => checked);
    for (const box of boxes) box.checked = !isEvery;
});
find('speak-form').addEventListener('submit', (event) => {
    event.preventDefault();
    const text = find('speak-text').value.trim();
    const channels = chosenChannels();
    if (!text) return showMessage('blankText');
    if (channels.length === 0) return showMessage('noChannelChosen');
    return act(
        () => speak(opened.session, channels, text),
        () => {
            if (find('speak-text').value.trim() === text) find('speak-text').value = '';
            return ['beingSpoken'];
        },
    );
});
find('speak-text').maxLength = maxSpoken;
find('light-text').maxLength = maxLightText;

// ---- The language, the clock and the start ----

function showTexts() {
    fillTexts(document);
    showStatus();
    showMessage(message.key, message.values);
    find('languages').replaceChildren(
        ...Object.entries(languages).map(([code, { name }]) => new Option(name, code, false, code === language)),
    );
    if (find('no-key').dataset.reason) setText(find('no-key-text'), say(find('no-key').dataset.reason));
    if (opened) build();
}

find('languages').addEventListener('change', ({ target }) => {
    setLanguage(target.value);
    showTexts();
});
setInterval(() => {
    if (events && performance.now() - heardAt > lostTimeout) lose('lost');
    draw();
}, tickInterval);

function start() {
    const given = takeFragment().credential?.key ?? null;
    if (opened && !given) return;
    key = given ?? memory.deskKey;
    if (!key) return refuse('deskKeyMissing');
    memory.deskKey = key;
    return open();
}

window.addEventListener('hashchange', start);
showTexts();
start();
