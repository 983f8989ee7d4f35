// Asks for the list again and again: at once when the page comes into view, then after
// each pause; not at all while nobody looks.

import { pauseAfter } from './pause.js';

export class Refresher {
    // When the next request is due, in ms since 1970; null while none is planned.
    dueAt = null;

    #request;
    #take;
    #timer;
    #failures = 0;
    #isAsking = false;

    // `request` asks the server; its answer is handed to `take`. An answer with `isAway`
    // set lengthens the pause.
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
