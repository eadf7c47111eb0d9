#include "delivery/XMLTransmitter.h"

#include "qz/Configuration.h"

namespace qz {

XMLTransmitter::XMLTransmitter(const Configuration& configuration)
    : endpointLocation(configuration.GetEndpointLocation()),
      useSSL(configuration.IsUseSSL()),
      endpointTimeout(configuration.GetEndpointTimeout()) {
  // The configuration never stores less than 1, but a zero or negative value
  // would mean "no limit" to the HTTP clients below.
  if (endpointTimeout < 1) endpointTimeout = 1;
}

XMLTransmitter::~XMLTransmitter() = default;

}  // namespace qz
