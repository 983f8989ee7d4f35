// The web server of a device. It serves the page, and the list that a test sets.

import { createHash } from 'node:crypto';
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname } from 'node:path';

const kPageFolder = new URL('../../../web/discovery/', import.meta.url);
const kTypes = {
    '.html': 'text/html', '.css': 'text/css', '.js': 'text/javascript', '.svg': 'image/svg+xml',
};

export class PageServer {
    // The content of browse.json, text or bytes; null if there is no such file.
    list = '[]';
    // The time of browse.json that the server reports; null if it reports none.
    modified = new Date();
    // A function of request and response that answers requests for browse.json; null for the
    // usual answer.
    answer = null;
    // The requests for browse.json, each as { ifNoneMatch, status }.
    reads = [];

    #server;
    #port = 0;

    async start() {
        this.#server = createServer((request, response) => this.#serve(request, response));
        await new Promise((resolve) => {
            this.#server.listen(this.#port, '127.0.0.1', resolve);
        });
        this.#port = this.#server.address().port;
    }

    // Stops the server and breaks its connections. start() starts it again on the same port.
    async stop() {
        const closed = new Promise((resolve) => { this.#server.close(resolve); });
        this.#server.closeAllConnections();
        await closed;
    }

    // The page's address, with any name of this machine.
    url(host = '127.0.0.1') {
        return `http://${host}:${this.#port}/discovery/`;
    }

    #serve(request, response) {
        const path = new URL(request.url, 'http://server/').pathname.replace('/discovery/', '');
        if (path === 'browse.json') {
            this.#serveList(request, response);
        } else {
            this.#servePage(path || 'index.html', response);
        }
    }

    async #servePage(name, response) {
        try {
            const body = await readFile(new URL(name, kPageFolder));
            response.writeHead(200, { 'Content-Type': kTypes[extname(name)] }).end(body);
        } catch {
            response.writeHead(404).end();
        }
    }

    #serveList(request, response) {
        const read = { ifNoneMatch: request.headers['if-none-match'] };
        this.reads.push(read);
        response.on('close', () => { read.status = response.statusCode; });
        if (this.answer) {
            this.answer(request, response);
        } else if (this.list === null) {
            response.writeHead(404).end();
        } else {
            this.#sendList(read, response);
        }
    }

    #sendList(read, response) {
        const tag = `"${createHash('sha1').update(this.list).digest('hex')}"`;
        const isCurrent = read.ifNoneMatch === tag;
        const time = this.modified && { 'Last-Modified': this.modified.toUTCString() };
        response.writeHead(isCurrent ? 304 : 200,
            { ETag: tag, 'Content-Type': 'application/json', ...time });
        response.end(isCurrent ? undefined : this.list);
    }
}
