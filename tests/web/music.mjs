// SPDX-License-Identifier: MIT

// A folder of music with tags, for a library.

import { execFileSync } from 'node:child_process';
import { mkdirSync, utimesSync } from 'node:fs';
import { dirname, join } from 'node:path';

/** Files that were written to less than five seconds ago are taken for unfinished. */
const LONG_AGO = new Date(2020, 1, 1);

function ffmpeg(file, ...options) {
    mkdirSync(dirname(file), { recursive: true });
    execFileSync('ffmpeg', ['-v', 'error', '-y', ...options, file]);
    utimesSync(file, LONG_AGO, LONG_AGO);
}

/** @param {object} tags title, artist, album, track and the like */
export function makeTrack(folder, name, tags, seconds = 20) {
    ffmpeg(join(folder, name), '-f', 'lavfi', '-i', `sine=d=${seconds}:r=8000`,
        ...Object.entries(tags).flatMap(([tag, value]) => ['-metadata', `${tag}=${value}`]));
}

/** @param {string} picture one of ffmpeg's sources, "color=teal" */
export function makeCover(folder, name, picture) {
    ffmpeg(join(folder, name), '-f', 'lavfi', '-i', `${picture}:s=600x600`, '-frames:v', '1');
}
