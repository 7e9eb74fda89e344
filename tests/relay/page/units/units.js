// Runs the units' tests in the browser and leaves the outcome in window.outcome.
import './fragment_test.js';
import './line_test.js';
import './sdp_answer_test.js';
import './sentences_test.js';
import './state_posts_test.js';
import './talk_keys_test.js';
import { run } from './testing.js';

window.outcome = await run();
