// SPDX-License-Identifier: MIT

// A page of one's own. Behind "?device=https://DEVICE:8443" it may lie on another server, whose origin
// the device has in its setting allowedOrigins; without, it is a page of the device itself.

import { Plix } from './plix.js';

const device = new Plix(new URLSearchParams(location.search).get('device') ?? '');
const $ = id => document.getElementById(id);
const tell = error => { $('state').textContent = error.message; };

device.watch('settings:/device/name', name => { $('name').textContent = name; }, tell);
device.watch('player:player/state', state => { $('state').textContent = state; }, tell);
device.watch('player:player/volume', volume => { $('volume').value = volume; }, tell);
device.watchList('player:queue', ['title'], rows => {
    $('queue').replaceChildren(...rows.map(({ title }) => {
        const row = document.createElement('li');
        row.textContent = title;
        return row;
    }));
}, tell);

for (const verb of ['play', 'pause'])
    $(verb).addEventListener('click', () => device.activate(`player:player/${verb}`).catch(tell));
$('volume').addEventListener('change',
    () => device.set('player:player/volume', $('volume').valueAsNumber).catch(tell));
