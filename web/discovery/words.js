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

// How fresh the list is: when its file was written (null if the server does not say), else
// when it was read (null before the first time).
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

// What an old list cannot say.
export function oldText(isOld) {
    return isOld ? 'The list changes only when a device comes, changes or goes. An old list ' +
        'does not show whether the discovery daemon still runs.' : '';
}

// The notice: what is wrong ('' if nothing is, then there is none), when what is shown all
// the same was read, and when the next attempt is due; these two are null where there is
// nothing to tell.
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

// Why no device is shown: not read yet (`devices` null), none there, or none found.
export function emptyText(devices, typed, fault) {
    if (devices === null) {
        return fault === '' ? 'Reading the device list…' : 'There is nothing to show yet.';
    }
    return devices.length === 0
        ? 'No devices have been found yet. They appear here by themselves.'
        : `Nothing matches “${typed.trim()}”.`;
}

// What a screen reader says of the changes that a reading brought.
export function announcementOf(lines, count) {
    return lines.length === 0
        ? '' : `${lines.map(plainLine).join(', ')}. ${devicesText(count)} in all.`;
}

// What a screen reader says of a problem: when it comes, when it becomes another, and
// when it is over.
export function problemNews(earlier, now) {
    if (now === earlier) {
        return '';
    }
    return now === '' ? 'The device list can be read again.' : now;
}
