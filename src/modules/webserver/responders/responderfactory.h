// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <functional>

class Request;
class Responder;

// Makes a responder for each request.
class ResponderFactory {
public:
    // A new responder, owned by the caller.
    virtual Responder* create(Request& request, const QString& documentRoot) = 0;
    virtual ~ResponderFactory() = default;
};

// Makes responders of one class. Its constructor takes the request, the document root and the
// further arguments, which are copied, even if they are passed by reference.
template <typename T, typename... Args>
class DefaultResponderFactory : public ResponderFactory {
public:
    explicit DefaultResponderFactory(Args... args)
        : m_create([args...](Request& request, const QString& documentRoot) {
              return new T(request, documentRoot, args...);
          }) {}

    Responder* create(Request& request, const QString& documentRoot) override {
        return m_create(request, documentRoot);
    }

private:
    std::function<T*(Request&, const QString&)> m_create;
};

template <typename T, typename... Args>
ResponderFactory* makeDefaultResponderFactory(Args... args) {
    return new DefaultResponderFactory<T, Args...>(args...);
}
