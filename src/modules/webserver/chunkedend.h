#pragma once

// Makes libsoup write the end of a chunked body from the event loop when the connection takes it at
// once. By itself it has a thread write these five bytes, for every answer, because they might have
// to wait; a thread that waits for a slow client is then kept from all others.
//
// Does its work once, as soon as libsoup has written a first body.
void endChunkedBodiesInPlace();
