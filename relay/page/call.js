// One connection that carries voice to the desk and back.
import { readAnswer } from './sdp-answer.js';

export class Call {
    #connection = new RTCPeerConnection({ iceServers: [] });
    #transceiver = null;

    /** `onState` is told the connection's state whenever it changes. */
    constructor(onState) {
        this.#connection.addEventListener('connectionstatechange', () => onState(this.#connection.connectionState));
    }

    /** Takes the desk's offer and gives the words of the answer to it. Without a track this device only listens. */
    async answer(offer, track) {
        const connection = this.#connection;
        await connection.setRemoteDescription({ type: 'offer', sdp: offer });
        [this.#transceiver] = connection.getTransceivers();
        if (!this.#transceiver) throw new Error('an offer without sound');
        await this.#transceiver.sender.replaceTrack(track);
        this.#transceiver.direction = track ? 'sendrecv' : 'recvonly';
        await connection.setLocalDescription(await connection.createAnswer());
        return readAnswer(connection.localDescription.sdp);
    }

    /** What the desk sends. After answer() only. */
    get sound() {
        return new MediaStream([this.#transceiver.receiver.track]);
    }

    /** True if this call can carry a microphone: one that began without cannot. */
    get maySend() {
        return this.#transceiver?.direction === 'sendrecv';
    }

    /** Another microphone, or none for now. */
    async useTrack(track) {
        await this.#transceiver?.sender.replaceTrack(track);
    }

    /** How many packets of sound have come in; null before the first one. */
    async packetsReceived() {
        const reports = await this.#connection.getStats();
        for (const report of reports.values()) if (report.type === 'inbound-rtp') return report.packetsReceived ?? null;
        return null;
    }

    close() {
        this.#connection.close();
    }
}
