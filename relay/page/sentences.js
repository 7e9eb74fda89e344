// What the page says to people, where it takes more than a fixed word.

/** Who is talking on a channel, each name once. The count comes first, since the end may be cut off. */
export function whoTalks(names) {
    const different = [...new Set(names)];
    if (different.length < 2) return different[0] ?? '';
    return `${different.length} talking: ${different.join(', ')}`;
}

export function presence(count) {
    return count > 0 ? `${count} connected` : 'no one yet';
}

export const statusWords = {
    'on-air': 'On air',
    connecting: 'Connecting…',
    lost: 'Connection lost, reconnecting…',
    'off-air': 'Off air',
};

const noResponse = 'The desk is not responding. Is it on air, and is this device on the show’s network?';

/** Why the crew code was not accepted; `retries` is true if the page tries again by itself. */
export function codeError(error, retries) {
    if (error === 'wrong-code') return 'Wrong code. You can find it on the join card and in the desk’s console.';
    return retries ? `${noResponse} Trying again…` : noResponse;
}

export function slowDown(seconds) {
    return `Too many wrong codes. Wait ${seconds} ${seconds === 1 ? 'second' : 'seconds'}.`;
}

export const sixDigits = 'The code has six digits.';
export const codeChanged = 'The code has changed. Ask for the new one.';

export function roleGone(name) {
    return name
        ? `The role ${name} is no longer in the show. Choose another.`
        : 'That role is no longer in the show. Choose another.';
}

export const deskFull = 'The intercom is full. Ask the person who runs the desk, then try again.';

export const reconnected = 'You were reconnected. Your keys are off.';
export const pageWasLeft = 'You left the page. Your keys are off.';
export const unheard = 'The desk hears nothing from your microphone. Is it muted or unplugged?';
export const stayAwake = 'This browser cannot keep the screen awake. Switch off auto-lock in the device’s settings.';

/** Why there is no microphone, and what to do, by Microphone.state. */
export const microphoneTrouble = {
    refused:
        'You can only listen: this page is not allowed to use the microphone. Allow it in the page’s settings ' +
        '(Safari: the page symbol beside the address, Website Settings, Microphone; Chrome and Firefox: ' +
        'the symbol left of the address, Permissions). Then:',
    missing: 'You can only listen: no microphone was found. Plug one in. Then:',
    busy: 'You can only listen: another program is using the microphone. Close it. Then:',
    ended: 'Your microphone was unplugged, or a call took it over. Plug it in or end the call. Then:',
    insecure: 'You can only listen: browsers give no microphone to this address. Open the page with https.',
};
