// How long to wait before the list is asked for again.

// The daemon writes the list at most every five seconds.
export const kPauseMs = 5000;
export const kLongestPauseMs = 60000;
// Pages that lost a server together do not come back together.
const kSpread = 0.2;

// The pause in ms after so many failures in a row; `random` from 0 to below 1.
export function pauseAfter(failures, random) {
    const pause = kPauseMs * 2 ** Math.max(0, failures - 1);
    return Math.min(pause, kLongestPauseMs) * (failures > 0 ? 1 + kSpread * random : 1);
}
