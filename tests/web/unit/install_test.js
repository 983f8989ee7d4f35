import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { cp, mkdir, mkdtemp, rm, stat, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';

const web = new URL('..', import.meta.url).pathname;

// The environment without the variables of this npm and this test runner: an npm or a test
// runner started from here would use them.
const environment = Object.fromEntries(
    Object.entries(process.env).filter(([name]) => !/^(npm_|NODE_TEST_)/.test(name)));

// A copy of the tests' folder with one test, and one package that would run a program.
async function makeFolder(folder) {
    await cp(join(web, 'run'), join(folder, 'run'));
    await cp(join(web, '.npmrc'), join(folder, '.npmrc'));
    await mkdir(join(folder, 'unit'));
    await writeFile(join(folder, 'unit/one_test.js'), `import 'helper'; import 'node:test';`);
    const helper = join(folder, 'helper');
    await mkdir(helper);
    await writeFile(join(helper, 'index.js'), '');
    await writeFile(join(helper, 'package.json'), JSON.stringify({
        name: 'helper', version: '1.0.0', main: 'index.js',
        scripts: { install: `touch ${join(folder, 'ran')}` },
    }));
    npm(folder, 'pack', helper);
    await writeFile(join(folder, 'package.json'), JSON.stringify({
        private: true, type: 'module', devDependencies: { helper: 'file:helper-1.0.0.tgz' },
    }));
    npm(folder, 'install', '--package-lock-only');
}

function npm(folder, ...command) {
    execFileSync('npm', [...command, '--offline', '--ignore-scripts', '--no-audit'],
        { cwd: folder, env: environment, stdio: 'pipe' });
}

test('Installing a package does not run its programs', async () => {
    const folder = await mkdtemp(join(tmpdir(), 'beacond-install-'));
    try {
        await makeFolder(folder);
        execFileSync('./run', ['unit/one_test.js'],
            { cwd: folder, env: environment, stdio: 'pipe' });
        await stat(join(folder, 'node_modules/helper/index.js'));
        await assert.rejects(stat(join(folder, 'ran')), { code: 'ENOENT' });
    } finally {
        await rm(folder, { recursive: true });
    }
});
