#pragma once

class QObject;

// Deletes the object from the event loop as deleteLater() does, together with all others that are
// given here until then: one event for many exchanges, each of which would wake the loop by itself.
// Nothing happens to an object that somebody else deletes before.
void deleteTogether(QObject* object);
