// SPDX-License-Identifier: MIT
#pragma once

class Message;

// Sets the security headers of a page or a file of the device: browsers do not guess another
// content type, do not send its URL to other sites as a referrer, and show it in frames of the
// device only, which prevents clickjacking.
void setBrowserPolicy(Message* message);
