// The steps of the page, of which one is shown at a time.
const steps = ['no-voice-step', 'code-step', 'roles-step', 'joining-step', 'desk-step'];
const find = (id) => document.getElementById(id);

/** Null before the first one is shown. */
export let step = null;

export function showStep(name) {
    step = name;
    for (const id of steps) find(id).hidden = id !== name;
    find('masthead').hidden = name === 'desk-step';
    const isBefore = name !== 'desk-step' && name !== 'joining-step';
    find('warning-help').hidden = !isBefore;
    find('language').hidden = !isBefore;
    document.body.dataset.step = name;
    for (const dialog of document.querySelectorAll('dialog[open]')) dialog.close();
    const heading = find(name).querySelector('[tabindex="-1"]');
    if (name === 'code-step') find('code').focus({ preventScroll: true });
    else heading?.focus({ preventScroll: true });
    window.scrollTo(0, 0);
}
