// Runs the unit tests in the browser and leaves the results in window.outcome.
import './fragment_test.js';
import './connection_test.js';
import './line_quality_test.js';
import './overview_test.js';
import './redundancy_test.js';
import './sdp_answer_test.js';
import './sentences_test.js';
import './signals_test.js';
import './state_posts_test.js';
import './talk_keys_test.js';
import './watches_test.js';
import { run } from './testing.js';

window.outcome = await run();
