// The other end of every call: sends the offer and a tone and listens, as the desk does.
const context = new AudioContext();
const oscillator = context.createOscillator();
const tone = context.createMediaStreamDestination();
oscillator.connect(tone);
oscillator.start();

const peers = new Map();

async function offer(session) {
    await context.resume();
    const connection = new RTCPeerConnection({ iceServers: [] });
    const transceiver = connection.addTransceiver(tone.stream.getAudioTracks()[0], {
        direction: 'sendrecv',
        streams: [tone.stream],
    });
    const analyser = context.createAnalyser();
    analyser.fftSize = 2048;
    const player = new Audio(); // a remote stream is silent unless an element plays it
    player.muted = true;
    connection.addEventListener('track', ({ track }) => {
        const stream = new MediaStream([track]);
        player.srcObject = stream;
        player.play();
        context.createMediaStreamSource(stream).connect(analyser);
    });
    peers.set(session, { connection, transceiver, analyser, player });
    await connection.setLocalDescription(await connection.createOffer());
    if (connection.iceGatheringState !== 'complete') {
        await new Promise((resolve) => {
            connection.addEventListener('icegatheringstatechange', () => {
                if (connection.iceGatheringState === 'complete') resolve();
            });
        });
    }
    const { sdp } = connection.localDescription;
    await fetch('/far/offer', { method: 'POST', body: JSON.stringify({ session, sdp }) });
}

/** The SDP of a page's answer, built from its JSON as the server does. */
function answerText({ iceUfrag, icePwd, fingerprint, setup, direction }, offer) {
    const [, mid] = offer.match(/^a=mid:(\S+)/m);
    const lines = ['v=0', 'o=- 1 1 IN IP4 0.0.0.0', 's=-', 't=0 0', `a=group:BUNDLE ${mid}`];
    lines.push('m=audio 9 UDP/TLS/RTP/SAVPF 111', 'c=IN IP4 0.0.0.0', `a=mid:${mid}`);
    lines.push(`a=ice-ufrag:${iceUfrag}`, `a=ice-pwd:${icePwd}`, `a=fingerprint:sha-256 ${fingerprint}`);
    lines.push(`a=setup:${setup}`, `a=${direction}`, 'a=rtcp-mux', 'a=rtpmap:111 opus/48000/2', '');
    return lines.join('\r\n');
}

const commands = new EventSource('/far/commands');
commands.addEventListener('message', async ({ data }) => {
    const { command, session, answer } = JSON.parse(data);
    if (command === 'offer') return offer(session);
    const { connection } = peers.get(session);
    const sdp = answerText(answer, connection.localDescription.sdp);
    return connection.setRemoteDescription({ type: 'answer', sdp });
});

window.far = {
    /** The level of the page's audio, in dBFS. */
    level(session) {
        const { analyser } = peers.get(session);
        const samples = new Float32Array(analyser.fftSize);
        analyser.getFloatTimeDomainData(samples);
        let sum = 0;
        for (const sample of samples) sum += sample * sample;
        return 10 * Math.log10(sum / samples.length + 1e-12);
    },
    /** Keeps the connection and stops sending audio. */
    fallSilent: (session) => peers.get(session).transceiver.sender.replaceTrack(null),
    hangUp: (session) => peers.get(session).connection.close(),
    hangUpAll() {
        for (const { connection } of peers.values()) connection.close();
        peers.clear();
    },
};
