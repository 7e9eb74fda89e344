// Takes the browser's SDP answer (RFC 8866) apart, so that the desk need not read any.

/**
 * {iceUfrag, icePwd, fingerprint, setup, direction} of the one audio section. What the section does not
 * say itself stands before it, for the whole session. A word that is missing is undefined.
 */
export function readAnswer(sdp) {
    const [session, ...sections] = sdp.split(/^m=/m);
    if (sections.length !== 1 || !/^audio [1-9]/.test(sections[0])) throw new Error('an answer without audio');
    const find = (pattern) => (sections[0].match(pattern) ?? session.match(pattern))?.[1];
    return {
        iceUfrag: find(/^a=ice-ufrag:(\S+)/m),
        icePwd: find(/^a=ice-pwd:(\S+)/m),
        fingerprint: find(/^a=fingerprint:sha-256 (\S+)/im)?.toUpperCase(),
        setup: find(/^a=setup:(\S+)/m),
        direction: find(/^a=(sendrecv|sendonly|recvonly|inactive)$/m) ?? 'sendrecv',
    };
}
