// Requests the list from the server, with limits for its size and the time.

// The daemon never writes a list of this size, even if its neighbours fill all its bounds.
export const kMostBytes = 16 * 1024 * 1024;
export const kTimeLimitMs = 10000;

function faultOfStatus(status) {
    if (status === 404) {
        return 'There is no device list yet: browse.json is missing.';
    }
    if (status === 401 || status === 403) {
        return `The server does not hand out the device list (status ${status}).`;
    }
    return `The server cannot hand out the device list (status ${status}).`;
}

// The body as text; null if it is larger than kMostBytes.
async function textOf(response) {
    if (response.body === null) {
        return '';
    }
    const reader = response.body.getReader();
    const decoder = new TextDecoder();
    let text = '';
    let size = 0;
    for (;;) {
        const { done, value } = await reader.read();
        if (done) {
            return text + decoder.decode();
        }
        size += value.length;
        if (size > kMostBytes) {
            await reader.cancel();
            return null;
        }
        text += decoder.decode(value, { stream: true });
    }
}

// The age of the file in ms, by the server's clock, which may differ from this computer's; null
// if the server does not report it.
function ageOf(headers) {
    const age = Date.parse(headers.get('date')) - Date.parse(headers.get('last-modified'));
    return Number.isNaN(age) ? null : Math.max(0, age);
}

// Requests the list. Returns `text`; `modified`, the server's time of the file (null if it does
// not report it); and `age`, the file's age in ms (null as above). After a fault, returns
// `fault`, one line, and `isAway`, true if the server does not answer completely, or answers with
// status 500 or above: then the next request should wait longer. Never throws. With the cache mode
// `no-cache`, the server sends the list only if it differs from the browser's copy.
export async function requestList(url, timeLimitMs = kTimeLimitMs) {
    const signal = AbortSignal.timeout(timeLimitMs);
    let response;
    try {
        response = await fetch(url, { cache: 'no-cache', signal });
        if (!response.ok) {
            return { fault: faultOfStatus(response.status), isAway: response.status >= 500 };
        }
        const text = await textOf(response);
        return text === null
            ? { fault: `The device list is larger than ${kMostBytes / 2 ** 20} MB.`, isAway: false }
            : { text, modified: response.headers.get('last-modified'), age: ageOf(response.headers) };
    } catch {
        // After a time-out, different browsers throw different errors.
        if (signal.aborted) {
            return { fault: `The server took longer than ${timeLimitMs / 1000} s.`, isAway: true };
        }
        return {
            fault: response
                ? 'The connection broke while the device list was read.'
                : 'The server does not answer.',
            isAway: true,
        };
    }
}
