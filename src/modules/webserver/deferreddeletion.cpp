#include "deferreddeletion.h"

#include <QPointer>

#include <vector>

namespace {

class Bag : public QObject {
public:
    ~Bag() override;

    std::vector<QPointer<QObject>> objects;
};

// Null when no object is waiting.
Bag* currentBag = nullptr;

Bag::~Bag() {
    // Objects that are passed from now on go into a new bag.
    if (currentBag == this)
        currentBag = nullptr;
    for (const QPointer<QObject>& object : objects)
        delete object.data();
}

} // namespace

void deleteTogether(QObject* object) {
    if (!currentBag) {
        currentBag = new Bag;
        currentBag->deleteLater();
    }
    currentBag->objects.emplace_back(object);
}
