// The steps before joining: the crew code, then the choice of a role.
import { fetchRoles } from './desk-api.js';
import { instance } from './desk-view.js';
import { memory } from './memory.js';
import { codeError, presence, say, slowDown } from './sentences.js';
import { showStep, step } from './steps.js';

// Milliseconds
const maxBlankTime = 500; // until the first step is shown while the desk has not responded
const rolesInterval = 5000;
const codeRetryInterval = 3000;

const find = (id) => document.getElementById(id);

export function setTitle(text) {
    document.title = text ? say('titleOf', { text }) : say('crewTitle');
}

/** A role that was given no name can still be chosen. */
export const roleName = (role) => role.name || say('unnamedRole');

export class Entry {
    #join;
    #credential = null;
    #codeTimer = 0;
    #rolesTimer = 0;
    #lastRequest = 0; // for the roles; responses to older ones are stale
    #last = null; // the role of the last visit

    /** `join` is called within a tap, with the role that was chosen. */
    constructor(join) {
        this.#join = join;
        find('code-form').addEventListener('submit', (event) => {
            event.preventDefault();
            this.#submitCode();
        });
        find('code').addEventListener('input', (event) => {
            if (event.inputType?.startsWith('insert') && typedCode().length === 6) this.#submitCode();
        });
        find('join-last').addEventListener('click', () => this.#last && join(this.#last));
        find('other-code').addEventListener('click', () => {
            clearInterval(this.#rolesTimer);
            memory.credential = null;
            this.showCode();
        });
    }

    /** What the desk accepted: see readFragment(). */
    get credential() {
        return this.#credential;
    }

    showCode(message = '') {
        find('masthead-show').textContent = say('crewIntercom');
        setTitle('');
        find('code-message').textContent = message;
        showStep('code-step');
    }

    /** Shows the roles again, with a reason. */
    backToRoles(message = '', preselect = true) {
        this.requestRoles(this.#credential, { remembered: true, message, preselect });
    }

    #submitCode() {
        const typed = typedCode();
        if (find('code-go').disabled) return;
        if (typed.length === 6) return this.requestRoles({ code: typed });
        // Pressing the button just after the sixth digit was rejected must not hide the reason.
        if (typed || !find('code-message').textContent) find('code-message').textContent = say('sixDigits');
    }

    /** Shows the roles of the show, or the code step with the reason why not. */
    async requestRoles(wanted, { remembered = false, message = '', preselect = true } = {}) {
        clearTimeout(this.#codeTimer);
        this.#codeTimer = 0;
        this.#lastRequest += 1;
        const request = this.#lastRequest;
        find('code-go').disabled = true;
        find('code').value = wanted.code ?? '';
        const slow = setTimeout(() => {
            if (step === null) this.showCode(say('contacting'));
        }, maxBlankTime);
        try {
            const response = await fetchRoles(wanted);
            if (request !== this.#lastRequest) return;
            this.#credential = wanted;
            memory.credential = wanted;
            find('code').value = '';
            this.#showRoles(response, message, preselect);
        } catch (error) {
            if (request === this.#lastRequest) this.#codeFailed(error, wanted, remembered);
        } finally {
            clearTimeout(slow);
            if (request === this.#lastRequest && !this.#codeTimer) find('code-go').disabled = false;
        }
    }

    #codeFailed({ error, seconds }, wanted, remembered) {
        if (error === 'wrong-code') {
            if (remembered) memory.credential = null;
            find('code').value = '';
            if (wanted.key) return this.showCode(say('cardChanged'));
            return this.showCode(remembered ? say('codeChanged') : codeError(error, false));
        }
        this.showCode(codeError(error, true));
        if (error === 'slow-down') return this.#countDown(Math.max(1, seconds));
        this.#codeTimer = setTimeout(() => {
            this.#codeTimer = 0;
            if (step === 'code-step' && typedCode() === (wanted.code ?? '')) this.requestRoles(wanted, { remembered });
            else find('code-go').disabled = false;
        }, codeRetryInterval);
    }

    #countDown(seconds) {
        find('code-message').textContent = slowDown(seconds);
        this.#codeTimer = setTimeout(() => {
            this.#codeTimer = 0;
            if (seconds > 1) return this.#countDown(seconds - 1);
            find('code-message').textContent = '';
            find('code-go').disabled = false;
        }, 1000);
    }

    #showRoles({ show, roles }, message, preselect) {
        find('masthead-show').textContent = show;
        setTitle(show);
        const last = roles.find(({ key }) => key === memory.role);
        this.#last = last ?? null;
        const joinLast = find('join-last');
        joinLast.hidden = !(last && preselect);
        if (last) joinLast.textContent = say('joinAs', { name: roleName(last) });
        find('roles-message').textContent = message || (memory.role && !last ? say('thatRoleGone') : '');
        if (!last) memory.role = null;
        find('roles-title').textContent = say(joinLast.hidden ? 'whoAreYou' : 'orAnotherRole');
        find('no-roles').hidden = roles.length > 0;
        this.#showRows(roles);
        showStep('roles-step');
        clearInterval(this.#rolesTimer);
        this.#rolesTimer = setInterval(() => this.#refreshRoles(), rolesInterval);
    }

    #showRows(roles) {
        const focused = document.activeElement?.closest('#roles button')?.dataset.key;
        const rows = roles.map((listed) => {
            const row = instance('role-row');
            const button = row.querySelector('button');
            button.dataset.key = listed.key;
            row.querySelector('.role-name').textContent = roleName(listed);
            row.querySelector('.presence').textContent = presence(listed.present);
            button.addEventListener('click', () => this.#join(listed));
            return row;
        });
        find('roles').replaceChildren(...rows);
        if (focused) [...find('roles').querySelectorAll('button')].find((b) => b.dataset.key === focused)?.focus();
    }

    /** Keeps the counts up to date while the user chooses. Errors are reported when a role is tapped. */
    async #refreshRoles() {
        if (step !== 'roles-step') return clearInterval(this.#rolesTimer);
        if (document.visibilityState !== 'visible') return;
        try {
            const { roles } = await fetchRoles(this.#credential);
            if (step !== 'roles-step') return;
            const buttons = new Map([...find('roles').querySelectorAll('button')].map((b) => [b.dataset.key, b]));
            if (roles.length !== buttons.size || roles.some(({ key }) => !buttons.has(key))) return this.#showRows(roles);
            for (const { key, present } of roles) {
                buttons.get(key).querySelector('.presence').textContent = presence(present);
            }
        } catch {
            // the next one may work
        }
    }
}

function typedCode() {
    return find('code').value.replace(/\D/g, '');
}
