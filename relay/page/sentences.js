// What the page says to people, where it takes more than a fixed word.

/** Those who talk on a channel, each name once; empty if nobody does. The count comes first: the end may be cut off. */
export function whoTalks(names) {
    const several = [...new Set(names)];
    if (several.length < 2) return several[0] ?? '';
    return `${several.length} talk: ${several.join(', ')}`;
}

export function presence(count) {
    return count > 0 ? `${count} on it` : 'nobody yet';
}

export const stateWords = {
    'on-air': 'On air',
    connecting: 'Connecting…',
    lost: 'Lost the desk, trying again…',
    'off-air': 'Off air',
};

export function codeRefused(error, seconds) {
    switch (error) {
        case 'wrong-code':
            return 'That is not the code. It stands on the join card and in the desk’s console.';
        case 'slow-down':
            return slowDown(seconds);
        default:
            return 'No answer from the desk. Is it on air, and is this device in the show’s network? Trying again…';
    }
}

export function slowDown(seconds) {
    return `Too many wrong codes. Wait ${seconds} ${seconds === 1 ? 'second' : 'seconds'}.`;
}

export const codeChanged = 'The code has changed. Ask for the new one.';

export function roleGone(name) {
    return name
        ? `The role ${name} is no longer in the show. Pick another.`
        : 'That role is no longer in the show. Pick another.';
}

export const deskFull = 'Every place at the desk is taken. Ask whoever runs the desk, then try again.';

export const reconnected = 'You were reconnected. Your keys are off.';
export const pageWasLeft = 'You left the page. Your keys are off.';
export const unheard = 'The desk hears nothing from your microphone. Is it muted or unplugged?';
export const stayAwake = 'This browser cannot keep the screen awake. Switch off auto-lock in the device’s settings.';

/** Why there is no microphone, and what to do: by the word of Microphone.state. */
export function microphoneTrouble(state) {
    switch (state) {
        case 'refused':
            return (
                'You listen only: this page may not use the microphone. Allow it in the page’s settings ' +
                '(Safari: the page symbol beside the address, Website Settings, Microphone; Chrome and Firefox: ' +
                'the symbol left of the address, Permissions). Then:'
            );
        case 'missing':
            return 'You listen only: no microphone was found. Plug one in. Then:';
        case 'busy':
            return 'You listen only: another program holds the microphone. Close it. Then:';
        case 'ended':
            return 'Your microphone is gone: unplugged, or taken by a call. Plug it in. Then:';
        case 'insecure':
            return 'You listen only: browsers give no microphone to this address. Open the page by https.';
        default:
            return '';
    }
}
