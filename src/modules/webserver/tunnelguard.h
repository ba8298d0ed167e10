#pragma once

// Keeps requests of the method CONNECT from ending the process.
//
// libsoup takes the target of such a request apart as soon as it has read it, and follows a null
// pointer when the target is no authority. Nothing is announced before that except that the
// request's method is being set; there, for every message that a server of this process receives,
// the method becomes another that nobody knows. An authority is no path, so libsoup then refuses
// it, as it should: this device opens no tunnels.
//
// For the whole process and for good; repeated calls do nothing.
void guardAgainstTunnels();
