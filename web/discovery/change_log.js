// The devices that came, changed or went while the page was open, newest first.

import { changeLines, plainLine } from './change_lines.js';
import { networkText, timeElement } from './device_parts.js';
import { element, setText } from './element.js';
import { momentText } from './moment_text.js';

const kMostLines = 200;
// In a window of at least this width the log is open, next to the devices. The style sheet has
// the same width.
const kRoomBeside = '(min-width: 105rem)';

const byId = (id) => document.getElementById(id);

function lineElement(line, moment) {
    const words = element('span', 'words', networkText(line.name), ` ${line.text}`);
    if (line.newName !== undefined) {
        words.append(' ', networkText(line.newName));
    }
    const time = timeElement(moment, momentText(moment, moment));
    // With the date, because a page on a wall screen stays open for days.
    time.title = new Date(moment).toLocaleString();
    return element('li', line.kind, time, words);
}

export class ChangeLog {
    #log = byId('log');

    constructor() {
        const room = matchMedia(kRoomBeside);
        const fit = () => { byId('history').open = room.matches; };
        room.addEventListener('change', fit);
        fit();
    }

    // Shows the moment of the first reading; earlier changes are not known.
    start(moment) {
        setText(byId('latest'), 'none so far');
        setText(byId('watching'), `Watching since ${momentText(moment, moment)}.`);
    }

    // Adds the lines of a difference between two readings, and removes the oldest lines beyond
    // kMostLines. Returns the added lines.
    add(difference, moment) {
        const lines = changeLines(difference);
        this.#log.prepend(...lines.map((line) => lineElement(line, moment)));
        while (this.#log.children.length > kMostLines) {
            this.#log.lastElementChild.remove();
        }
        if (lines.length > 0) {
            setText(byId('latest'), `${momentText(moment, moment)} ${plainLine(lines[0])}`);
        }
        return lines;
    }
}
