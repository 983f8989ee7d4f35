import assert from 'node:assert/strict';
import { test } from 'node:test';

import { changeLines, plainLine } from '../../../web/discovery/change_lines.js';
import { readDeviceList } from '../../../web/discovery/device_list.js';
import { differenceOf } from '../../../web/discovery/list_difference.js';
import { momentText } from '../../../web/discovery/moment_text.js';
import { announcementOf, countText, emptyText, lastReadText, noticeText, oldText, problemNews,
    updatedText } from '../../../web/discovery/words.js';
import { entries, entry, listText } from '../support/sample_list.js';

const read = (list) => readDeviceList(listText(list)).devices;
const linesOf = (before, after) => changeLines(differenceOf(read(before), read(after)));
const kNow = new Date(2026, 10, 21, 10, 30, 5).getTime();

test('Each change is a separate line', () => {
    assert.deepEqual(linesOf([entry(1), entry(2)], [entry(2, { hostName: 'new' }), entry(3)]), [
        { kind: 'came', name: 'stage-left-3', text: 'came' },
        { kind: 'changed', name: 'ob-van-2', text: 'is now', newName: 'new' },
        { kind: 'went', name: 'control-room-1', text: 'went' },
    ]);
});

test('A device that loses its name is shown with its address', () => {
    assert.deepEqual(linesOf([entry(1)], [entry(1, { hostName: '' })]).map(plainLine),
        ['control-room-1 is now 192.0.2.2']);
});

test('A device that returns with another name is shown with both names', () => {
    const [before, same, after] = read([entry(1), entry(2), entry(1, { hostName: 'new' })]);
    const formerly = new Map([[after.key, before], [same.key, same]]);
    const lines = changeLines({ came: [after, same], changed: [], went: [], formerly });
    assert.deepEqual(lines, [
        { kind: 'came', name: 'control-room-1', text: 'came back as', newName: 'new' },
        { kind: 'came', name: 'ob-van-2', text: 'came' },
    ]);
    assert.equal(plainLine(lines[0]), 'control-room-1 came back as new');
});

test('A line names the details that have changed', () => {
    assert.deepEqual(linesOf([entry(1)], [entry(1, { description: 'X', boardID: 'Y' })])
        .map(plainLine), ['control-room-1 has another category and board']);
    assert.deepEqual(linesOf([entry(1)], [entry(1, { deviceName: 'X' })]).map(plainLine),
        ['control-room-1 has another product']);
});

test('Many changes of one kind are one line', () => {
    assert.equal(linesOf([], entries(5)).length, 5);
    assert.deepEqual(linesOf([], entries(6)).map(plainLine), ['6 devices came']);
    assert.deepEqual(linesOf(entries(2000), []).map(plainLine), ['2,000 devices went']);
    const renamed = entries(6).map((each) => ({ ...each, hostName: `x${each.hostName}` }));
    assert.deepEqual(linesOf(entries(6), renamed).map(plainLine), ['6 devices changed']);
});

test('A screen reader announces the changes and the number of devices', () => {
    assert.equal(announcementOf(linesOf([entry(1)], [entry(2)]), 1),
        'ob-van-2 came, control-room-1 went. 1 device in all.');
    assert.equal(announcementOf([], 7), '');
});

test('A screen reader announces an error once, and its end once', () => {
    assert.equal(problemNews('', 'Away.'), 'Away.');
    assert.equal(problemNews('Away.', 'Away.'), '');
    assert.equal(problemNews('Away.', 'Empty.'), 'Empty.');
    assert.equal(problemNews('Empty.', ''), 'The device list can be read again.');
    assert.equal(problemNews('', ''), '');
});

test('The count shows how many devices match the search, and how many there are', () => {
    assert.equal(countText(0, 0), '0 devices');
    assert.equal(countText(1, 1), '1 device');
    assert.equal(countText(2000, 2000), '2,000 devices');
    assert.equal(countText(12, 2000), '12 of 2,000 devices');
});

test('The notice describes the error, the list on display, and the time of the next attempt', () => {
    const time = momentText(kNow - 60000, kNow);
    assert.equal(noticeText('', { shown: null, dueAt: null }, kNow), '');
    assert.equal(noticeText('Odd.', { shown: null, dueAt: null }, kNow), 'Odd.');
    assert.equal(noticeText('Away.', { shown: kNow - 60000, dueAt: kNow + 7001 }, kNow),
        `Away. What you see was read at ${time}. Next try in 8 s.`);
    assert.equal(noticeText('Away.', { shown: null, dueAt: kNow - 5 }, kNow),
        'Away. Next try in 1 s.');
});

test('If no device is shown, the page gives the reason', () => {
    assert.equal(emptyText(null, '', ''), 'Reading the device list…');
    assert.equal(emptyText(null, '', 'Away.'), 'There is nothing to show yet.');
    assert.equal(emptyText([], 'x', ''),
        'No devices have been found yet. They appear here by themselves.');
    assert.equal(emptyText([{}], ' lumen ', ''), 'Nothing matches “lumen”.');
});

test('A time of another day has its date', () => {
    const today = momentText(kNow, kNow);
    assert.match(today, /30/);
    assert.doesNotMatch(today, /2026/);
    const yesterday = momentText(kNow - 24 * 3600 * 1000, kNow);
    assert.match(yesterday, /2026/);
    assert.match(yesterday, /\b20\b/);
});

test('The page shows when the file was written, or when it was read if that is not known', () => {
    const read = momentText(kNow, kNow);
    const written = momentText(kNow - 60000, kNow);
    assert.equal(updatedText({ updated: null, lastRead: null }, kNow), 'Not read yet');
    assert.equal(updatedText({ updated: null, lastRead: kNow }, kNow), `Read at ${read}`);
    assert.equal(updatedText({ updated: kNow - 60000, lastRead: kNow }, kNow),
        `Updated ${written}`);
    assert.equal(lastReadText(null, kNow), '');
    assert.equal(lastReadText(kNow, kNow), `Last read at ${read}.`);
});

test('The page says that the daemon may have stopped if the list is old', () => {
    assert.equal(oldText(false), '');
    assert.equal(oldText(true), 'The list was not written for over an hour. The discovery daemon ' +
        'may have stopped, or this device has no neighbours.');
});
