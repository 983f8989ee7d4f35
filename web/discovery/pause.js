// The pause before the next request for the list.

// The daemon writes the list at most every five seconds.
export const kPauseMs = 5000;
// Without the random part.
export const kLongestPauseMs = 60000;
// Pages that lost a server at the same time do not request the list at the same time later.
const kSpread = 0.2;

// The pause in ms after this number of failures in a row. `random` is at least 0 and below 1.
export function pauseAfter(failures, random) {
    const pause = kPauseMs * 2 ** Math.max(0, failures - 1);
    return Math.min(pause, kLongestPauseMs) * (failures > 0 ? 1 + kSpread * random : 1);
}
