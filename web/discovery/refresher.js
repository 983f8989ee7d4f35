// Requests the list repeatedly: at once when the page becomes visible or the browser is online
// again, then after each pause; never while the page is hidden.

import { pauseAfter } from './pause.js';

export class Refresher {
    // When the next request is due, in ms since 1970; null if none is planned.
    dueAt = null;

    #request;
    #take;
    #timer;
    #failures = 0;
    #isAsking = false;

    // `request` asks the server; `take` gets the answer. An answer with `isAway` lengthens the
    // pause.
    constructor(request, take) {
        this.#request = request;
        this.#take = take;
    }

    start() {
        document.addEventListener('visibilitychange', () => this.askNow());
        window.addEventListener('online', () => this.askNow());
        this.askNow();
    }

    async askNow() {
        if (this.#isAsking) {
            return;
        }
        clearTimeout(this.#timer);
        this.dueAt = null;
        if (document.hidden) {
            return;
        }
        this.#isAsking = true;
        const answer = await this.#request();
        this.#isAsking = false;
        this.#failures = answer.isAway ? this.#failures + 1 : 0;
        this.#plan();
        this.#take(answer);
    }

    #plan() {
        const pause = pauseAfter(this.#failures, Math.random());
        this.dueAt = Date.now() + pause;
        this.#timer = setTimeout(() => this.askNow(), pause);
    }
}
