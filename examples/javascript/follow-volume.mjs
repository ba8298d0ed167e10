// SPDX-License-Identifier: MIT

// Prints the volume, now and whenever it changes: node follow-volume.mjs [http://DEVICE:8080]

import { Plix } from 'plix';

const device = new Plix(process.argv[2] ?? 'http://localhost:8080');
device.addEventListener('connection', () => console.error(device.connection));
device.watch('player:player/volume',
    volume => console.log(volume),
    error => {
        console.error(error.message);
        process.exit(1);
    });
