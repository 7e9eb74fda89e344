// The join card: what the crew needs to join, to be printed and pinned up.
import { fetchCard } from './desk-api.js';
import { memory, takeFragment } from './memory.js';
import { codeError, fillTexts, say, slowDown } from './sentences.js';

const quietZone = 4; // white modules around a QR code, which scanners need to find it
const cardsPerSheet = 6; // as many as the grid of a printed sheet has cells
const svg = 'http://www.w3.org/2000/svg';
const find = (id) => document.getElementById(id);

async function ask(credential) {
    find('go').disabled = true;
    find('message').textContent = '';
    try {
        show(await fetchCard(credential));
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
    document.title = say('cardTitle', { show: card.show });
    find('show').textContent = card.show;
    find('address').append(...breakable(card.address));
    find('shown-code').textContent = card.code;
    find('page-qr').append(qrCode(card.page.qr, say('opens', { address: card.address })));
    find('others').append(...breakable(card.others.join(`  ${say('or')}  `)));
    find('others-line').hidden = card.others.length === 0;
    for (const name of ['fingerprint', 'authority']) {
        find(name).append(...withBreaks((card[name] ?? '').split(/(?<=:)/)));
    }
    find('authority-line').hidden = !card.authority;
    const roles = card.roles.map((role) => roleCard(role, card));
    for (let first = 0; first < roles.length; first += cardsPerSheet) {
        const sheet = document.createElement('div');
        sheet.className = 'sheet';
        sheet.append(...roles.slice(first, first + cardsPerSheet));
        find('roles').append(sheet);
    }
    find('ask').hidden = true;
    find('tools').hidden = false;
    find('cards').hidden = false;
    // Before that some browsers may have no style sheet yet.
    if (document.readyState === 'complete') fitAll();
    else window.addEventListener('load', fitAll, { once: true });
}

function fitAll() {
    document.querySelectorAll('.fitted').forEach(fit);
    find('ruler').remove();
}

function roleCard(role, card) {
    const section = find('role-card').content.firstElementChild.cloneNode(true);
    section.querySelector('.role-name').textContent = role.name;
    section.querySelector('.qr').append(qrCode(role.qr, say('opensFor', { name: role.name })));
    section.querySelector('.role-show').textContent = card.show;
    section.querySelector('.role-address').append(...breakable(card.address));
    section.querySelector('.code').textContent = card.code;
    return section;
}

/**
 * Finds the largest letters with which a text fits its box on paper, and sets by how much they are smaller than usual.
 * Words are broken only if the text would otherwise become much smaller.
 */
function fit(element) {
    const ruler = find('ruler');
    ruler.className = element.className;
    ruler.replaceChildren(...element.cloneNode(true).childNodes);
    const fits = (scale) => {
        ruler.style.setProperty('--fit', scale);
        return ruler.scrollWidth <= ruler.clientWidth && ruler.scrollHeight <= ruler.clientHeight;
    };
    for (const [wrap, min] of [['normal', 0.6], ['anywhere', 0.1]]) {
        ruler.style.overflowWrap = wrap;
        for (let scale = 1; scale > min; scale *= 0.95) {
            if (fits(scale)) return element.style.setProperty('--fit', scale);
        }
    }
}

/** An address that may wrap after its slashes and colons, rather than in the middle of a number. */
function breakable(text) {
    return withBreaks(text.split(/(?<=[/:])(?!\/)/));
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
    if (code.length === 6) ask({ code });
    else find('message').textContent = say('sixDigits');
});
find('print').addEventListener('click', () => window.print());

fillTexts(document);
const credential = takeFragment().credential ?? memory.credential;
if (credential) ask(credential);
else askForCode();
