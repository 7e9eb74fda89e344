import { chooseLanguage, languages, presence, say, slowDown, whoTalks } from '/sentences.js';
import { equal, test } from './testing.js';

test('a single talker is named, several are counted first', () => {
    equal(whoTalks([]), '');
    equal(whoTalks(['Director']), 'Director');
    equal(whoTalks(['Director', 'Fly Floor']), '2 talking: Director, Fly Floor');
});

test('two people on one role are named once', () => {
    equal(whoTalks(['Fly Floor', 'Fly Floor']), 'Fly Floor');
});

test('a role says how many are connected', () => {
    equal(presence(0), 'no one yet');
    equal(presence(2), '2 connected');
});

test('one second is not called seconds', () => {
    equal(slowDown(1).endsWith('1 second.'), true);
    equal(slowDown(2).endsWith('2 seconds.'), true);
});

test('every text that the pages name is in the table', async () => {
    for (const page of ['/', '/card', '/desk']) {
        const html = new DOMParser().parseFromString(await (await fetch(page)).text(), 'text/html');
        const roots = [html, ...[...html.querySelectorAll('template')].map(({ content }) => content)];
        for (const root of roots) {
            for (const { dataset } of root.querySelectorAll('[data-text], [data-label], [data-href]')) {
                for (const key of [dataset.text, dataset.label, dataset.href]) if (key) say(key);
            }
        }
    }
});

test('values are put into a text as they are', () => {
    equal(say('joinAs', { name: '{count} $&' }), 'Join as {count} $&');
});

test('a text that is not in the table is an error', () => {
    let error = null;
    try {
        say('no such text');
    } catch (thrown) {
        error = thrown;
    }
    equal(error?.message, 'no text no such text');
});

const places = (entry) => [...new Set([...JSON.stringify(entry).matchAll(/\{(\w+)\}/g)].map(([, name]) => name))].sort();

test('every language has every text, with the same places for values and every form of a number', () => {
    const { en, ...others } = Object.fromEntries(Object.entries(languages).map(([code, { texts }]) => [code, texts]));
    for (const [code, texts] of Object.entries(others)) {
        equal([code, ...Object.keys(texts).sort()], [code, ...Object.keys(en).sort()]);
        for (const [key, text] of Object.entries(texts)) {
            equal([code, key, places(text)], [code, key, places(en[key])]);
            const forms = typeof text === 'object' ? Object.keys(text).sort() : [];
            const wanted = typeof en[key] === 'object' ? new Intl.PluralRules(code).resolvedOptions().pluralCategories : [];
            equal([key, forms], [key, [...wanted].sort()]);
        }
    }
});

test('the language is the first of the wanted ones that there is', () => {
    equal(chooseLanguage([null, 'de-AT', 'en']), 'de');
    equal(chooseLanguage(['de', 'en-GB']), 'de');
    equal(chooseLanguage(['fr', 'toString', 'EN-us', 'de']), 'en');
    equal(chooseLanguage([]), 'en');
});
