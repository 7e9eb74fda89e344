// One WebRTC connection that carries audio to the desk and back. The desk offers, this side answers.
import { Redundancy } from './redundancy.js';

export class Call {
    #connection = new RTCPeerConnection({ iceServers: [] });
    #transceiver = null;
    #deskOffer = null; // once it is answered
    #isNegotiating = false;
    #redundancy = null; // null if the browser knows none
    #sendsRed = false;

    /** `onState` is called with the connection's state whenever it changes. */
    constructor(onState) {
        this.#connection.addEventListener('connectionstatechange', () => onState(this.#connection.connectionState));
    }

    /** Takes the desk's SDP offer and returns what the desk needs of the answer. Without a track it only listens. */
    async answer(offer, track) {
        const connection = this.#connection;
        await connection.setRemoteDescription({ type: 'offer', sdp: offer });
        [this.#transceiver] = connection.getTransceivers();
        if (!this.#transceiver) throw new Error('the offer has no audio');
        await this.#transceiver.sender.replaceTrack(track);
        this.#transceiver.direction = track ? 'sendrecv' : 'recvonly';
        await this.#createAnswer();
        await this.#prioritise();
        this.#deskOffer = offer;
        const answer = readSdpAnswer(connection.localDescription.sdp);
        if (answer.red) this.#redundancy = new Redundancy();
        return answer;
    }

    async #createAnswer() {
        const own = await this.#connection.createAnswer();
        await this.#connection
            .setLocalDescription({ type: 'answer', sdp: askForLostPackets(own.sdp) })
            .catch(() => this.#connection.setLocalDescription(own));
    }

    /**
     * Starts a second way to the desk beside the present one (ICE restart), from the addresses that this device has
     * now. The browser changes over once the second way works; until then it keeps the first. The desk need not be
     * asked: as an ICE-lite agent it answers every check that knows its password, so its answer is known before.
     */
    async restartIce() {
        const connection = this.#connection;
        await this.#negotiate(async () => {
            const own = await connection.createOffer({ iceRestart: true });
            await connection.setLocalDescription({ type: 'offer', sdp: askForLostPackets(own.sdp) });
            const offer = this.#sendsRed ? withRedFirst(this.#deskOffer) : this.#deskOffer;
            try {
                await connection.setRemoteDescription({ type: 'answer', sdp: deskAnswer(offer, this.maySend) });
            } catch (error) {
                await connection.setLocalDescription({ type: 'rollback' });
                throw error;
            }
        });
    }

    /**
     * Sends RED or plain Opus, by how much is lost. A browser sends the first codec of the offer; the desk, which takes
     * both, need not know. To be called about twice a second.
     */
    async adaptToLoss() {
        if (!this.#redundancy) return;
        const reports = [...(await this.#transceiver.sender.getStats()).values()];
        const find = (type) => reports.find((report) => report.type === type);
        const sent = find('outbound-rtp');
        if (sent) this.#redundancy.update(sent, find('remote-inbound-rtp'));
        const { isOn } = this.#redundancy;
        if (isOn === this.#sendsRed) return;
        await this.#negotiate(async () => {
            const sdp = isOn ? withRedFirst(this.#deskOffer) : this.#deskOffer;
            await this.#connection.setRemoteDescription({ type: 'offer', sdp });
            try {
                await this.#createAnswer();
            } catch (error) {
                await this.#connection.setRemoteDescription({ type: 'rollback' });
                throw error;
            }
            this.#sendsRed = isOn;
        });
    }

    /** One at a time, and once the desk's offer is answered. */
    async #negotiate(steps) {
        if (!this.#deskOffer || this.#isNegotiating) return;
        this.#isNegotiating = true;
        try {
            await steps();
        } finally {
            this.#isNegotiating = false;
        }
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

    /** Everything that the browser knows of the connection (RTCStatsReport). */
    statistics() {
        return this.#connection.getStats();
    }

    /** How many RTP packets have been received; null before the first one. */
    async packetsReceived() {
        if (!this.#transceiver) return null;
        const reports = await this.#transceiver.receiver.getStats();
        for (const report of reports.values()) if (report.type === 'inbound-rtp') return report.packetsReceived ?? null;
        return null;
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

/** What the desk, which made `deskOffer` before, would answer to an offer of this side: it stays the DTLS server. */
export function deskAnswer(deskOffer, maySend) {
    return deskOffer
        .replace(/^a=setup:actpass$/m, 'a=setup:passive')
        .replace(/^a=sendrecv$/m, maySend ? 'a=sendrecv' : 'a=sendonly');
}

/**
 * {iceUfrag, icePwd, fingerprint, setup, direction, sources, red} of an SDP answer (RFC 8866) with one audio section, so
 * that the desk need not parse SDP. A value that the section lacks is taken from the session; undefined if both lack it.
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
