// What the pages say to people, in the language of the person: one table of texts for each language.
import { english } from './english.js';
import { german } from './german.js';
import { memory } from './memory.js';

/** The languages there are, each by its own name. */
export const languages = { en: { name: 'English', texts: english }, de: { name: 'Deutsch', texts: german } };

/** The first of the wanted languages (such as 'de-AT') that there is a table for. */
export function chooseLanguage(wanted) {
    const known = wanted.map((name) => String(name).split('-')[0].toLowerCase());
    return known.find((name) => Object.hasOwn(languages, name)) ?? 'en';
}

/** What the person chose on this device, or else what the browser is set to. */
export let language = chooseLanguage([memory.language, ...(navigator.languages ?? [])]);

export function setLanguage(name) {
    language = name;
    memory.language = name;
}

/** A text of the table, with its values filled in; `count` chooses between its forms. */
export function say(key, values = {}) {
    const entry = languages[language].texts[key];
    if (entry === undefined) throw new Error(`no text ${key}`);
    const text = typeof entry === 'string' ? entry : entry[new Intl.PluralRules(language).select(values.count)];
    return text.replace(/\{(\w+)\}/g, (place, name) => values[name] ?? place);
}

/**
 * Writes the texts that the page names: data-text is an element's content, data-label its accessible name, data-href
 * where it leads.
 */
export function fillTexts(root) {
    document.documentElement.lang = language;
    for (const element of root.querySelectorAll('[data-text]')) element.textContent = say(element.dataset.text);
    for (const element of root.querySelectorAll('[data-href]')) element.href = say(element.dataset.href);
    for (const element of root.querySelectorAll('[data-label]')) {
        element.setAttribute('aria-label', say(element.dataset.label));
    }
    for (const { content } of root.querySelectorAll('template')) fillTexts(content);
}

/** Who is talking on a channel, each name once. The count comes first, since the end may be cut off. */
export function whoTalks(names) {
    const different = [...new Set(names)];
    if (different.length < 2) return different[0] ?? '';
    return say('talking', { count: different.length, names: different.join(', ') });
}

export function presence(count) {
    return count > 0 ? say('presence', { count }) : say('noOneYet');
}

/** Why the crew code was not accepted; `retries` is true if the page tries again by itself. */
export function codeError(error, retries) {
    if (error === 'wrong-code') return say('wrongCode');
    return say(retries ? 'noResponseRetrying' : 'noResponse');
}

export function slowDown(seconds) {
    return say('slowDown', { count: seconds });
}
