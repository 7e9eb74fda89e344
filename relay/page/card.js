// The join card: what the crew needs to join, to be printed and pinned up.
import { fetchCard } from './desk-api.js';
import { memory, takeFragment } from './memory.js';
import { codeError, sixDigits, slowDown } from './sentences.js';

const quietZone = 4; // white modules around a QR code, which scanners need to find it
const svg = 'http://www.w3.org/2000/svg';
const find = (id) => document.getElementById(id);

async function ask(code) {
    find('go').disabled = true;
    find('message').textContent = '';
    try {
        show(await fetchCard(code));
    } catch ({ error, seconds }) {
        askForCode();
        if (error === 'slow-down') return countDown(Math.max(1, seconds));
        find('message').textContent = codeError(error, false);
        if (error === 'wrong-code') find('code').value = '';
    }
    find('go').disabled = false;
}

function askForCode() {
    find('ask').hidden = false;
    find('code').focus();
}

function countDown(seconds) {
    find('message').textContent = slowDown(seconds);
    setTimeout(() => {
        if (seconds > 1) return countDown(seconds - 1);
        find('message').textContent = '';
        find('go').disabled = false;
    }, 1000);
}

function show(card) {
    document.title = `${card.show} – join card`;
    find('show').textContent = card.show;
    find('address').append(...breakable(card.address));
    find('shown-code').textContent = card.code;
    find('page-qr').append(qrCode(card.page.qr, `Opens ${card.address}`));
    find('others').append(...breakable(card.others.join('  or  ')));
    find('others-line').hidden = card.others.length === 0;
    find('fingerprint').append(...withBreaks(card.fingerprint.split(/(?<=:)/)));
    find('roles').append(...card.roles.map((role) => roleCard(role, card)));
    find('ask').hidden = true;
    find('tools').hidden = false;
    find('cards').hidden = false;
}

function roleCard(role, card) {
    const sheet = find('role-card').content.firstElementChild.cloneNode(true);
    sheet.querySelector('h2').textContent = role.name;
    sheet.querySelector('.qr').append(qrCode(role.qr, `Opens the page for ${role.name}`));
    sheet.querySelector('.show').textContent = card.show;
    sheet.querySelector('.address').append(...breakable(card.address));
    sheet.querySelector('.code').textContent = card.code;
    return sheet;
}

/** An address that may wrap after its slashes, rather than in the middle of a number. */
function breakable(text) {
    return withBreaks(text.split(/(?<=\/)(?!\/)/));
}

/** Parts between which the text may wrap. */
function withBreaks(parts) {
    return parts.flatMap((part) => [part, document.createElement('wbr')]);
}

/** A QR code, black on white on every background. */
function qrCode({ size, path }, label) {
    const picture = document.createElementNS(svg, 'svg');
    const whole = size + 2 * quietZone;
    picture.setAttribute('viewBox', `${-quietZone} ${-quietZone} ${whole} ${whole}`);
    picture.setAttribute('shape-rendering', 'crispEdges');
    picture.setAttribute('role', 'img');
    picture.setAttribute('aria-label', label);
    const ground = document.createElementNS(svg, 'rect');
    ground.setAttribute('x', -quietZone);
    ground.setAttribute('y', -quietZone);
    ground.setAttribute('width', whole);
    ground.setAttribute('height', whole);
    ground.setAttribute('fill', '#fff');
    const modules = document.createElementNS(svg, 'path');
    modules.setAttribute('d', path);
    modules.setAttribute('fill', '#000');
    picture.append(ground, modules);
    return picture;
}

find('ask').addEventListener('submit', (event) => {
    event.preventDefault();
    const code = find('code').value.replace(/\D/g, '');
    if (find('go').disabled) return;
    if (code.length === 6) ask(code);
    else find('message').textContent = sixDigits;
});
find('print').addEventListener('click', () => window.print());

const code = takeFragment().code ?? memory.code;
if (code) ask(code);
else askForCode();
