/// @file
/// The lists of observers to which the sub-clients pass the service's messages.
#pragma once

namespace Quorvel::Lumo::Api::Events {

/// A list of observers of type `T` that a sub-client notifies of each of its messages, in
/// the order they were added. The list does not own them: remove each before it goes.
template <class T>
class IObservable {
  public:
    virtual ~IObservable() = default;
    /// Adds `observer` to the end of the list; a null observer, or one that is there
    /// already, changes nothing. Added while the list notifies, it hears the next message.
    /// @lumo_local
    virtual void AddObserver(T* observer) = 0;
    /// Removes `observer`, if it is there. Removed while the list notifies, it is not
    /// called any more, from that notification on.
    /// @lumo_local
    virtual void RemoveObserver(T* observer) = 0;
};

}  // namespace Quorvel::Lumo::Api::Events
