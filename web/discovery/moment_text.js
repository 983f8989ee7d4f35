// Moments (ms since 1970) in the time zone and the notation of the reader's browser.

const kTime = new Intl.DateTimeFormat(undefined, { timeStyle: 'medium' });
const kDateAndTime = new Intl.DateTimeFormat(undefined,
    { dateStyle: 'medium', timeStyle: 'medium' });

function isSameDay(a, b) {
    return new Date(a).toDateString() === new Date(b).toDateString();
}

// The time of day, and the date if it is not today's.
export function momentText(moment, now) {
    return (isSameDay(moment, now) ? kTime : kDateAndTime).format(moment);
}
