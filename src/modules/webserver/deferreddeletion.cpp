#include "deferreddeletion.h"

#include <QPointer>

#include <vector>

namespace {

class Bag : public QObject {
public:
    ~Bag() override;

    std::vector<QPointer<QObject>> objects;
};

// Null while nothing waits.
Bag* currentBag = nullptr;

Bag::~Bag() {
    // What is given away from now on belongs to the next one.
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
