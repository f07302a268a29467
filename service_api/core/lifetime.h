// Whether an object still exists after it called out. Whoever it calls may end the
// session and so destroy the object while one of its member functions is still running;
// that function looks at its witness before it touches the object again.
#pragma once

#include <memory>

namespace Quorvel::Lumo::Api {

class Lifetime {
  public:
    // True while the owner lives; still readable once the owner is gone.
    using Witness = std::shared_ptr<const bool>;

    Lifetime() = default;
    ~Lifetime() { *m_alive = false; }
    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    Witness Watch() const { return m_alive; }

  private:
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

}  // namespace Quorvel::Lumo::Api
