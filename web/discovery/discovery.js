// The discovery page: requests browse.json from its own folder at intervals, and shows the
// devices of this list.

import { ChangeLog } from './change_log.js';
import { nameOf, readDeviceList } from './device_list.js';
import { hostOfThisPage } from './device_pages.js';
import { setText } from './element.js';
import { matches, wordsOf } from './filter.js';
import { KnownDevices } from './known_devices.js';
import { requestList } from './list_request.js';
import { momentText } from './moment_text.js';
import { Refresher } from './refresher.js';
import { sorted } from './sort.js';
import { SortControls } from './sort_controls.js';
import { storeChoice, storedChoice } from './stored_choice.js';
import { keysOfThisDevice, ownerWithoutEntry } from './this_device.js';
import { DeviceView } from './views.js';
import { announcementOf, countText, devicesText, emptyText, lastReadText, noticeText, oldText,
    problemNews, updatedText } from './words.js';

const kViewNames = ['cards', 'rows'];
const kViewChoice = 'discovery.view';
// A screen reader speaks the number of found devices after this pause in typing.
const kTypingPauseMs = 700;
const kCountdownMs = 1000;
// A list that was not written for this time counts as old: the daemon may have stopped.
const kOldMs = 3600000;

const byId = (id) => document.getElementById(id);
const filter = byId('filter');

const known = new KnownDevices();
const log = new ChangeLog();
const sorting = new SortControls(show);
const refresher = new Refresher(() => requestList('browse.json'), take);
const views = {
    cards: new DeviceView(byId('cards'), 'cards'),
    rows: new DeviceView(byId('rows'), 'rows'),
};

let viewName = storedChoice(kViewChoice, kViewNames, kViewNames[0]);
let lastAnswer = { text: null, list: null }; // the last text, and the list read from it
let takenDevices = null; // the devices of the list that was taken last
let thisDevice = new Set(); // the keys of the entries of the device that serves the page
let newCount = 0; // how many devices are marked as new
let lastRead = null;
let updated = null; // when the file was written, by this computer's clock; null if unknown
let lastModified; // when it was written, by the server's clock
let fault = ''; // one line: the reason why the last reading failed; '' if it succeeded
let remark = ''; // one line about entries that are left out or incomplete; '' if none
let isAway = false;
let typing;

function announce(...sentences) {
    const text = sentences.filter((sentence) => sentence !== '').join(' ');
    if (text !== '') {
        byId('announcer').textContent = text;
    }
}

function rowOf(device, now) {
    const came = known.cameAt(device.key);
    return {
        device,
        came,
        cameText: came === undefined ? '' : momentText(came, now),
        isNew: known.isNew(device.key, now),
        isThis: thisDevice.has(device.key),
    };
}

// Shows the devices that match the typed words, in the chosen order.
function show() {
    const now = Date.now();
    const devices = known.devices ?? [];
    const words = wordsOf(filter.value);
    const keys = new Set(devices.map((device) => device.key));
    const rows = devices.filter((device) => matches(device, words))
        .map((device) => rowOf(device, now));
    views[viewName].show(sorted(rows, sorting.column, sorting.isAscending), (key) => keys.has(key));
    newCount = known.countNew(now);
    byId('table').toggleAttribute('hidden', viewName !== 'rows' || rows.length === 0);
    byId('cards').toggleAttribute('hidden', viewName !== 'cards' || rows.length === 0);
    setText(byId('empty'), rows.length > 0 ? '' : emptyText(known.devices, filter.value, fault));
    setText(byId('count'), countText(rows.length, devices.length));
}

function showView() {
    document.body.dataset.view = viewName;
    document.querySelector(`input[name=view][value=${viewName}]`).checked = true;
    show();
}

// Shows the name of the device that serves the page, above the devices and in the window's
// title.
function showOwner() {
    const own = known.devices.find((device) => thisDevice.has(device.key));
    const owner = own ? nameOf(own) : ownerWithoutEntry(hostOfThisPage());
    setText(byId('owner'), owner);
    byId('seen').hidden = false;
    document.title = `${devicesText(known.devices.length)} \u2013 ${owner}`;
}

// Shows the state of the list as a whole: its age, and the notice.
function showState() {
    const now = Date.now();
    const shown = fault === '' ? null : lastRead;
    const dueAt = isAway ? refresher.dueAt : null;
    const isOld = updated !== null && now - updated >= kOldMs;
    document.body.classList.toggle('faulty', fault !== '');
    document.body.classList.toggle('old', isOld);
    setText(byId('updated'), updatedText({ updated, lastRead }, now));
    setText(byId('last-read'), lastReadText(lastRead, now));
    setText(byId('old'), oldText(isOld));
    setText(byId('notice'), noticeText(fault || remark, { shown, dueAt }, now));
}

// Takes the devices of a list that has changed. Returns the text for a screen reader.
function takeDevices(devices, now) {
    const difference = known.take(devices, now);
    thisDevice = keysOfThisDevice(devices, hostOfThisPage());
    showOwner();
    show();
    if (difference === null) {
        log.start(now);
        return `${devicesText(devices.length)}.`;
    }
    return announcementOf(log.add(difference, now), devices.length);
}

// Keeps the time at which the file was written. Computes it only once for each writing: the
// server counts in seconds, so the shown time would vary by one second.
function takeTime({ modified, age }, now) {
    if (modified !== lastModified) {
        lastModified = modified;
        updated = age === null ? null : now - age;
    }
}

// Takes a list that could be read, and the answer that contained it. Returns the text for a
// screen reader.
function takeList(list, answer) {
    const now = Date.now();
    lastRead = now;
    takeTime(answer, now);
    remark = list.remark;
    if (list.devices !== takenDevices) {
        takenDevices = list.devices;
        return takeDevices(list.devices, now);
    }
    if (newCount !== known.countNew(now)) {
        show();
    }
    return '';
}

function listOf(text) {
    if (text !== lastAnswer.text) {
        lastAnswer = { text, list: readDeviceList(text) };
    }
    return lastAnswer.list;
}

// Takes the server's answer to a request for the list.
function take(answer) {
    const list = answer.fault ? answer : listOf(answer.text);
    const earlier = fault || remark;
    fault = list.fault ?? '';
    isAway = answer.isAway === true;
    const news = fault === '' ? takeList(list, answer) : '';
    if (known.devices === null) {
        show();
    }
    announce(problemNews(earlier, fault || remark), news);
    showState();
}

filter.addEventListener('input', () => {
    show();
    clearTimeout(typing);
    typing = setTimeout(() => announce(byId('count').textContent), kTypingPauseMs);
});
byId('view').addEventListener('change', (event) => {
    views[viewName].clear();
    viewName = event.target.value;
    storeChoice(kViewChoice, viewName);
    showView();
});
byId('refresh').addEventListener('click', () => refresher.askNow());
setInterval(() => {
    if (isAway) {
        showState();
    }
}, kCountdownMs);

showView();
showState();
refresher.start();
