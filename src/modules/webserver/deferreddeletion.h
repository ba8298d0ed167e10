#pragma once

class QObject;

// Like deleteLater(), but with one event for all objects that are passed until the event arrives.
// An event for each exchange would wake the loop each time. An object may be deleted before.
void deleteTogether(QObject* object);
