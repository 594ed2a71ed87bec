#pragma once
// The messaging service over the network: the client's side of the wire behind the contract.

#include <memory>

#include "contract/link_needs.h"
#include "contract/messenger_service.h"
#include "contract/picture_reader.h"
#include "service/link/link_stats.h"

/// Starts its own threads; nothing is connected before Login or SendPassword. Everything borrowed in `needs`
/// must outlive it. The destructor ends the session as Close does.
std::unique_ptr<MessengerService> MakeLinkMessenger(LinkNeeds needs);

/// Who answers where the next login would go: nothing is sent there and nobody is asked. Of this computer's
/// own service nothing is known. Throws when nobody answers, or with another key than the one that is known.
ServiceFace LookAt(MessengerService& service);

/// Gives an account another password, where the next login would go; both as they are typed. Throws when it
/// is not the new one now.
void ChangePassword(MessengerService& service, const QString& handle, const QString& password,
                    const QString& wish);

/// Reads pictures as the link does; any number may.
std::unique_ptr<PictureReader> MakePictureReader();

/// The figures of a link made by MakeLinkMessenger; zeros for any other service. User-interface thread.
LinkStats StatsOf(MessengerService& service);
