import { askForLostPackets, deskAnswer, readSdpAnswer, withRedFirst } from '/call.js';
import { equal, test } from './testing.js';

const pairs = '3F:07:'.repeat(16).slice(0, -1);
const lines = (...list) => list.map((line) => `${line}\r\n`).join('');

const chromium = lines(
    'v=0',
    'o=- 3417563521842265317 2 IN IP4 127.0.0.1',
    's=-',
    't=0 0',
    'a=group:BUNDLE audio0',
    'a=msid-semantic: WMS',
    'm=audio 9 UDP/TLS/RTP/SAVPF 111 63',
    'c=IN IP4 0.0.0.0',
    'a=rtcp:9 IN IP4 0.0.0.0',
    'a=candidate:2999745851 1 udp 2122260223 192.168.1.20 51234 typ host generation 0',
    'a=ice-ufrag:x+3/',
    'a=ice-pwd:PdQn4gkZ2E+9f/KqTzLm0sYb',
    'a=ice-options:trickle',
    `a=fingerprint:sha-256 ${pairs}`,
    'a=setup:active',
    'a=mid:audio0',
    'a=sendrecv',
    'a=msid:- 7c0ec5de-0b5f-4a3c-93b1-0a1f1f4f4a4e',
    'a=rtcp-mux',
    'a=rtpmap:111 opus/48000/2',
    'a=fmtp:111 minptime=10;useinbandfec=1',
    'a=rtpmap:63 red/48000/2',
    'a=fmtp:63 111/111',
    'a=ssrc:3018290164 cname:9f2VnkMTXHJ1Bf7C',
);

const firefox = lines(
    'v=0',
    'o=mozilla...THIS_IS_SDPARTA-115.0 4294967295 0 IN IP4 0.0.0.0',
    's=-',
    't=0 0',
    'a=sendrecv',
    `a=fingerprint:sha-256 ${pairs}`,
    'a=group:BUNDLE audio0',
    'a=ice-options:trickle',
    'a=msid-semantic:WMS *',
    'm=audio 9 UDP/TLS/RTP/SAVPF 111',
    'c=IN IP4 0.0.0.0',
    'a=recvonly',
    'a=fmtp:111 maxplaybackrate=48000;stereo=1;useinbandfec=1',
    'a=ice-pwd:0f1e2d3c4b5a69788796a5b4c3d2e1f0',
    'a=ice-ufrag:9a8b7c6d',
    'a=mid:audio0',
    'a=rtcp-mux',
    'a=rtpmap:111 opus/48000/2',
    'a=setup:active',
    'a=ssrc:1234567890 cname:{3a4b5c6d-0000-4000-8000-1234567890ab}',
);

const safari = lines(
    'v=0',
    'o=- 5823746152983746152 2 IN IP4 127.0.0.1',
    's=-',
    't=0 0',
    'a=group:BUNDLE audio0',
    'a=extmap-allow-mixed',
    'a=msid-semantic: WMS 0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9',
    'm=audio 9 UDP/TLS/RTP/SAVPF 111',
    'c=IN IP4 0.0.0.0',
    'a=rtcp:9 IN IP4 0.0.0.0',
    'a=ice-ufrag:Zk3P',
    'a=ice-pwd:k9ZQvXbN2mL5rT8wYc1dEfGh',
    `a=fingerprint:sha-256 ${pairs}`,
    'a=setup:active',
    'a=mid:audio0',
    'a=sendrecv',
    'a=msid:0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9 1a2b3c4d-5e6f-4708-9a1b-2c3d4e5f6071',
    'a=rtcp-mux',
    'a=rtcp-rsize',
    'a=rtpmap:111 OPUS/48000/2',
    'a=rtcp-fb:111 transport-cc',
    'a=fmtp:111 minptime=10;useinbandfec=1',
    'a=ssrc:2718281828 cname:Qb7sT0mVxYzAcE1d',
    'a=ssrc:2718281828 msid:0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9 1a2b3c4d-5e6f-4708-9a1b-2c3d4e5f6071',
);

const ofChromium = {
    iceUfrag: 'x+3/',
    icePwd: 'PdQn4gkZ2E+9f/KqTzLm0sYb',
    fingerprint: pairs,
    setup: 'active',
    direction: 'sendrecv',
    sources: [3018290164],
    red: true,
};

/** Chromium's answer with other text in one place. */
function changed(from, to) {
    if (!chromium.includes(from)) throw new Error(`${from} is not in it`);
    return chromium.replace(from, to);
}

function refuses(sdp) {
    try {
        readSdpAnswer(sdp);
    } catch {
        return true;
    }
    return false;
}

test('Chromium’s answer is read', () => {
    equal(readSdpAnswer(chromium), ofChromium);
});

test('Firefox’s answer, with the fingerprint before the section, is read', () => {
    equal(readSdpAnswer(firefox), {
        iceUfrag: '9a8b7c6d',
        icePwd: '0f1e2d3c4b5a69788796a5b4c3d2e1f0',
        fingerprint: pairs,
        setup: 'active',
        direction: 'recvonly',
        sources: [1234567890],
        red: false,
    });
});

test('Safari’s answer is read', () => {
    equal(readSdpAnswer(safari), {
        iceUfrag: 'Zk3P',
        icePwd: 'k9ZQvXbN2mL5rT8wYc1dEfGh',
        fingerprint: pairs,
        setup: 'active',
        direction: 'sendrecv',
        sources: [2718281828],
        red: false,
    });
});

test('lost packets of Opus are asked for again', () => {
    const answer = lines('m=audio 9 UDP/TLS/RTP/SAVPF 111 63', 'a=rtpmap:111 opus/48000/2', 'a=rtpmap:63 red/48000/2');
    const asking = lines(
        'm=audio 9 UDP/TLS/RTP/SAVPF 111 63',
        'a=rtpmap:111 opus/48000/2',
        'a=rtcp-fb:111 nack',
        'a=rtpmap:63 red/48000/2',
    );
    equal(askForLostPackets(answer), asking);
    equal(askForLostPackets(asking), asking);
    equal(askForLostPackets(lines('m=audio 9 UDP/TLS/RTP/SAVPF 0')), lines('m=audio 9 UDP/TLS/RTP/SAVPF 0'));
});

test('RED comes first when it is to be sent', () => {
    const offer = (types) => lines(`m=audio 9 UDP/TLS/RTP/SAVPF ${types}`, 'a=rtpmap:63 red/48000/2', 'a=fmtp:63 111/111');
    equal(withRedFirst(offer('111 63')), offer('63 111'));
    equal(withRedFirst(offer('63 111')), offer('63 111'));
    equal(withRedFirst(lines('m=audio 9 UDP/TLS/RTP/SAVPF 111')), lines('m=audio 9 UDP/TLS/RTP/SAVPF 111'));
});

test('lines may end with only a line feed', () => {
    equal(readSdpAnswer(chromium.replaceAll('\r\n', '\n')), ofChromium);
});

test('a value before the section is used if the section has none', () => {
    let sdp = chromium;
    for (const line of ['a=ice-ufrag:x+3/', `a=fingerprint:sha-256 ${pairs}`, 'a=setup:active', 'a=sendrecv']) {
        sdp = sdp.replace(`${line}\r\n`, '').replace('m=audio', `${line}\r\nm=audio`);
    }
    equal(readSdpAnswer(sdp), ofChromium);
});

test('a value in the section takes precedence', () => {
    const ice = 'a=ice-ufrag:other\r\na=ice-pwd:other\r\n';
    const before = `${ice}a=inactive\r\na=setup:passive\r\na=fingerprint:sha-256 00\r\n`;
    equal(readSdpAnswer(changed('m=audio', `${before}m=audio`)), ofChromium);
});

test('every direction and both setups are read, and no direction means both ways', () => {
    for (const direction of ['sendrecv', 'sendonly', 'recvonly', 'inactive']) {
        equal(readSdpAnswer(changed('a=sendrecv', `a=${direction}`)).direction, direction);
    }
    equal(readSdpAnswer(changed('a=sendrecv\r\n', '')).direction, 'sendrecv');
    equal(readSdpAnswer(changed('setup:active', 'setup:passive')).setup, 'passive');
});

test('of several fingerprints the SHA-256 one is used, in upper case', () => {
    const usual = `a=fingerprint:sha-256 ${pairs}`;
    const several = `a=fingerprint:sha-1 00:11\r\n${usual.toLowerCase().replace('sha-256', 'SHA-256')}`;
    equal(readSdpAnswer(changed(usual, several)).fingerprint, pairs);
    equal(readSdpAnswer(changed('sha-256', 'sha-1')).fingerprint, undefined);
});

test('each source that is sent from is read once', () => {
    const more = 'a=ssrc:3735928559 cname:a\r\na=ssrc:3735928559 msid:b c\r\na=ssrc:7 cname:a\r\n';
    equal(readSdpAnswer(chromium + more).sources, [3018290164, 3735928559, 7]);
    equal(readSdpAnswer(changed('a=ssrc:', 'a=other:')).sources, []);
});

test('a missing value is undefined', () => {
    equal(readSdpAnswer(changed('a=ice-pwd:', 'a=other:')), { ...ofChromium, icePwd: undefined });
});

test('an answer without exactly one accepted audio section is rejected', () => {
    equal(refuses(changed('m=audio 9', 'm=audio 0')), true);
    equal(refuses(changed('m=audio', 'm=video')), true);
    equal(refuses(`${chromium}m=audio 9 UDP/TLS/RTP/SAVPF 111\r\n`), true);
    equal(refuses('v=0\r\ns=-\r\n'), true);
    equal(refuses(''), true);
});

test('the answer of the desk to an offer is known from its own offer', () => {
    const media = 'm=audio 9 UDP/TLS/RTP/SAVPF 111';
    const desk = lines('v=0', 'a=ice-lite', media, 'a=sendrecv', 'a=setup:actpass', 'a=ice-pwd:x');
    const answer = lines('v=0', 'a=ice-lite', media, 'a=sendrecv', 'a=setup:passive', 'a=ice-pwd:x');
    equal(deskAnswer(desk, true), answer);
    equal(deskAnswer(desk, false), answer.replace('sendrecv', 'sendonly'));
});
