// The sub-clients' own lists of application observers, which they notify of the service's
// messages. The observers are not owned; each must be removed before it goes.
#pragma once

#include "lumo/api/observable.h"
#include "service_api/core/lifetime.h"

#include <algorithm>
#include <vector>

namespace Quorvel::Lumo::Api::Events {

template <class T>
class Observable final : public IObservable<T> {
  public:
    void AddObserver(T* observer) override {
        if (observer != nullptr && !Contains(observer)) {
            m_observers.push_back(observer);
        }
    }

    void RemoveObserver(T* observer) override { std::erase(m_observers, observer); }

    // Calls `operation` on every observer, in the order they were added. An observer may
    // add or remove observers meanwhile: one removed before its turn is skipped, one
    // added waits for the next event. One that ends the session, and with it this list,
    // is the last one called.
    template <class... Params, class... Args>
    void Notify(void (T::*operation)(Params...), const Args&... args) {
        const std::vector<T*> current = m_observers;
        const Lifetime::Witness alive = m_lifetime.Watch();
        for (T* observer : current) {
            if (!*alive) {
                return;
            }
            if (Contains(observer)) {
                (observer->*operation)(args...);
            }
        }
    }

  private:
    bool Contains(T* observer) const {
        return std::find(m_observers.begin(), m_observers.end(), observer) != m_observers.end();
    }

    std::vector<T*> m_observers;
    Lifetime m_lifetime;
};

}  // namespace Quorvel::Lumo::Api::Events
