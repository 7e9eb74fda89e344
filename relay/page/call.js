// One WebRTC connection that carries audio to the desk and back. The desk offers, this side answers.
import { Redundancy } from './redundancy.js';

export class Call {
    #connection = new RTCPeerConnection({ iceServers: [] });
    #transceiver = null;
    #offer = null;
    #redundancy = null; // null if the browser knows none

    /** `onState` is called with the connection's state whenever it changes. */
    constructor(onState) {
        this.#connection.addEventListener('connectionstatechange', () => onState(this.#connection.connectionState));
    }

    /** Takes the desk's SDP offer and returns what the desk needs of the answer. Without a track it only listens. */
    async answer(offer, track) {
        const connection = this.#connection;
        this.#offer = offer;
        await connection.setRemoteDescription({ type: 'offer', sdp: offer });
        [this.#transceiver] = connection.getTransceivers();
        if (!this.#transceiver) throw new Error('the offer has no audio');
        await this.#transceiver.sender.replaceTrack(track);
        this.#transceiver.direction = track ? 'sendrecv' : 'recvonly';
        await this.#createAnswer();
        await this.#prioritise();
        const answer = readSdpAnswer(connection.localDescription.sdp);
        if (answer.red) this.#redundancy = new Redundancy();
        return answer;
    }

    async #createAnswer() {
        const connection = this.#connection;
        const own = await connection.createAnswer();
        await connection
            .setLocalDescription({ type: 'answer', sdp: askForLostPackets(own.sdp) })
            .catch(() => connection.setLocalDescription(own));
    }

    /** Has the browser mark packets as voice (DSCP), as the desk does: Wi-Fi sends these before others. */
    async #prioritise() {
        const { sender } = this.#transceiver;
        const parameters = sender.getParameters();
        for (const encoding of parameters.encodings ?? []) {
            encoding.priority = 'high';
            encoding.networkPriority = 'high';
        }
        await sender.setParameters(parameters).catch(() => {}); // a browser without priorities
    }

    /** What the desk sends. Only after answer(). */
    get sound() {
        return new MediaStream([this.#transceiver.receiver.track]);
    }

    /** True if this call can carry a microphone: one that began without cannot. */
    get maySend() {
        return this.#transceiver?.direction === 'sendrecv';
    }

    /** Switches to another microphone, or to none. */
    async useTrack(track) {
        await this.#transceiver?.sender.replaceTrack(track);
    }

    /** How many RTP packets have been received; null before the first one. */
    async packetsReceived() {
        const reports = [...(await this.#connection.getStats()).values()];
        const find = (type) => reports.find((report) => report.type === type);
        await this.#adaptToLoss(find('outbound-rtp'), find('remote-inbound-rtp')).catch(() => {});
        return find('inbound-rtp')?.packetsReceived ?? null;
    }

    /**
     * Sends RED or plain Opus, by how much is lost. A browser sends the first codec of the offer; the desk, which takes
     * both, need not know.
     */
    async #adaptToLoss(sent, reported) {
        if (!sent || !this.#redundancy?.update(sent, reported)) return;
        const sdp = this.#redundancy.isOn ? withRedFirst(this.#offer) : this.#offer;
        await this.#connection.setRemoteDescription({ type: 'offer', sdp });
        await this.#createAnswer();
    }

    close() {
        this.#connection.close();
    }
}

/**
 * An SDP answer in which lost packets of Opus are asked for again (NACK), both ways. On a theatre's network that is
 * quicker than the next packet; browsers can do it, and do it for video, but leave it out of their answer for audio.
 */
export function askForLostPackets(sdp) {
    return sdp.replace(/^a=rtpmap:(\d+) opus\/.*$/im, (line, type) =>
        new RegExp(`^a=rtcp-fb:${type} nack$`, 'm').test(sdp) ? line : `${line}\r\na=rtcp-fb:${type} nack`,
    );
}

/** An SDP offer of Opus and RED in which RED comes first. */
export function withRedFirst(sdp) {
    const red = sdp.match(/^a=rtpmap:(\d+) red\//im)?.[1];
    return sdp.replace(/^(m=audio \S+ \S+)(.*)$/m, (line, begin, types) =>
        red ? `${begin} ${red}${types.replace(new RegExp(` ${red}\\b`), '')}` : line,
    );
}

/**
 * {iceUfrag, icePwd, fingerprint, setup, direction, sources, red} of an SDP answer (RFC 8866) with one audio section, so that
 * the desk need not parse SDP. A value that the section lacks is taken from the session; undefined if both lack it.
 */
export function readSdpAnswer(sdp) {
    const [session, ...sections] = sdp.split(/^m=/m);
    if (sections.length !== 1 || !/^audio [1-9]/.test(sections[0])) throw new Error('the answer has no audio');
    const find = (pattern) => (sections[0].match(pattern) ?? session.match(pattern))?.[1];
    return {
        iceUfrag: find(/^a=ice-ufrag:(\S+)/m),
        icePwd: find(/^a=ice-pwd:(\S+)/m),
        fingerprint: find(/^a=fingerprint:sha-256 (\S+)/im)?.toUpperCase(),
        setup: find(/^a=setup:(\S+)/m),
        direction: find(/^a=(sendrecv|sendonly|recvonly|inactive)$/m) ?? 'sendrecv',
        sources: [...new Set([...sections[0].matchAll(/^a=ssrc:(\d+)/gm)].map(([, ssrc]) => Number(ssrc)))],
        red: /^a=rtpmap:\d+ red\//im.test(sections[0]),
    };
}
