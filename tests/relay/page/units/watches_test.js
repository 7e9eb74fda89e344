import {
    maxPause,
    maxSilence,
    maxWaitForSpeech,
    noSpeech,
    silence,
    SilenceWatch,
    SleepWatch,
    SpeechTest,
} from '/watches.js';
import { equal, test } from './testing.js';

test('a pause between two looks means that the device slept, once', () => {
    const watch = new SleepWatch(0);
    equal(watch.slept(500), false);
    equal(watch.slept(500 + maxPause), false);
    equal(watch.slept(501 + 2 * maxPause), true);
    equal(watch.slept(502 + 2 * maxPause), false);
});

test('a clock that is set back is no sleep', () => {
    const watch = new SleepWatch(100000);
    equal(watch.slept(0), false);
    equal(watch.slept(500), false);
});

const quiet = { isOpen: true, isMuted: false, level: silence };

test('an open microphone is silent after a while without its own noise', () => {
    const watch = new SilenceWatch();
    equal(watch.update(0, quiet), null);
    equal(watch.update(maxSilence - 1, quiet), null);
    equal(watch.update(maxSilence, quiet), 'silent');
    equal(watch.update(maxSilence + 66, { ...quiet, level: silence + 1 }), null);
    equal(watch.update(maxSilence + 132, quiet), null);
});

test('silence is counted from each opening', () => {
    const watch = new SilenceWatch();
    watch.update(0, quiet);
    equal(watch.update(maxSilence, { ...quiet, isOpen: false }), null);
    equal(watch.update(maxSilence + 1, quiet), null);
});

test('a level that is unknown is not silence', () => {
    const watch = new SilenceWatch();
    watch.update(0, { ...quiet, level: null });
    equal(watch.update(maxSilence, { ...quiet, level: null }), null);
});

test('an open microphone that is muted is told at once', () => {
    const watch = new SilenceWatch();
    equal(watch.update(0, { isOpen: true, isMuted: true, level: -20 }), 'muted');
    equal(watch.update(1, { isOpen: false, isMuted: true, level: -20 }), null);
});

test('a tested microphone is heard from the first speech on, or brings nothing for a while', () => {
    const speechTest = new SpeechTest(0);
    equal(speechTest.update(100, null), 'waiting');
    equal(speechTest.update(maxWaitForSpeech - 1, noSpeech), 'waiting');
    equal(speechTest.update(maxWaitForSpeech, noSpeech), 'nothing');
    equal(speechTest.update(maxWaitForSpeech + 1, noSpeech + 1), 'heard');
    equal(speechTest.update(3 * maxWaitForSpeech, null), 'heard');
});
