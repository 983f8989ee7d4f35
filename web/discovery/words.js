// The page's own sentences. Pure functions; moments and pauses in ms.

import { plainLine } from './change_lines.js';
import { momentText } from './moment_text.js';

export function devicesText(count) {
    return count === 1 ? '1 device' : `${count.toLocaleString('en')} devices`;
}

export function countText(shown, all) {
    const found = shown === all ? '' : `${shown.toLocaleString('en')} of `;
    return found + devicesText(all);
}

// The age of the list: when its file was written (`updated`, null if the server does not
// report it), otherwise when it was read (`lastRead`, null before the first reading).
export function updatedText({ updated, lastRead }, now) {
    if (lastRead === null) {
        return 'Not read yet';
    }
    return updated === null ? `Read at ${momentText(lastRead, now)}`
        : `Updated ${momentText(updated, now)}`;
}

export function lastReadText(lastRead, now) {
    return lastRead === null ? '' : `Last read at ${momentText(lastRead, now)}.`;
}

// The explanation for an old list; '' for a newer one.
export function oldText(isOld) {
    return isOld ? 'The list was not written for over an hour. The discovery daemon may have ' +
        'stopped, or this device has no neighbours.' : '';
}

// The notice; '' if there is no problem. `shown` is when the displayed list was read, `dueAt`
// when the next attempt is due; null leaves out the sentence.
export function noticeText(problem, { shown, dueAt }, now) {
    if (problem === '') {
        return '';
    }
    const parts = [problem];
    if (shown !== null) {
        parts.push(`What you see was read at ${momentText(shown, now)}.`);
    }
    if (dueAt !== null) {
        parts.push(`Next try in ${Math.max(1, Math.ceil((dueAt - now) / 1000))} s.`);
    }
    return parts.join(' ');
}

// The reason why no device is shown: the list was not read yet (`devices` is null), it is
// empty, or no device matches.
export function emptyText(devices, typed, fault) {
    if (devices === null) {
        return fault === '' ? 'Reading the device list…' : 'There is nothing to show yet.';
    }
    return devices.length === 0
        ? 'No devices have been found yet. They appear here by themselves.'
        : `Nothing matches “${typed.trim()}”.`;
}

// The text that a screen reader speaks after a reading with changes.
export function announcementOf(lines, count) {
    return lines.length === 0
        ? '' : `${lines.map(plainLine).join(', ')}. ${devicesText(count)} in all.`;
}

// The text that a screen reader speaks when a problem begins, changes or ends; '' if the
// problem is the same as before.
export function problemNews(earlier, now) {
    if (now === earlier) {
        return '';
    }
    return now === '' ? 'The device list can be read again.' : now;
}
