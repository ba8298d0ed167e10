// SPDX-License-Identifier: MIT

/** The page that answers an upload made by a plain form. */

import { device, startPage } from './ui.js';
import { showNoUpdater, showUpdater } from './firmware.js';

startPage();
device.watch('firmware:update', update => showUpdater(update ?? {}), showNoUpdater);
