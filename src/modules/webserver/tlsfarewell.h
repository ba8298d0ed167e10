#pragma once

// From now on no TLS connection of this process that a server holds waits, when it is closed, until
// its client has taken its farewell: a client that does not read would keep everybody waiting. It
// goes without one.
void letTlsFarewellsNotWait();
