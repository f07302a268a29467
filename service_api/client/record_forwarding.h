// How a message whose record belongs to the service reaches a callback: as a ServiceRecord.
#pragma once

#include "lumo/api/service_record.h"
#include "service_api/core/icore.h"

#include <functional>

namespace Quorvel::Lumo::Api {

// A message handler that hands each message to `deliver` as a ServiceRecord.
LumoMessageHandler ForwardRecord(std::function<void(const ServiceRecord&)> deliver);

}  // namespace Quorvel::Lumo::Api
