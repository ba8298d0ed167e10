// SPDX-License-Identifier: MIT

/** Pages that work without JavaScript, and with it are in the device's language. */

import { startPage } from './ui.js';

startPage();
