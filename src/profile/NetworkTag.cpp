#include "profile/NetworkTag.h"

#include <utility>

#include "platform/Platform.h"

namespace qz {

namespace {

bool HasAddress(const NetworkAdapterInfo& adapter) { return adapter.ipAddress.StrLen() > 0; }

}  // namespace

NetworkTag::NetworkTag(std::unique_ptr<NetworkAdapterInfo> info) : info(std::move(info)) {}

NetworkTag::~NetworkTag() = default;

StringBuf& NetworkTag::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("network")); }

void NetworkTag::WriteAttributes(StringBuf& out) {
  WriteOptionalAttribute(out, QZ_TEXT("conn-id"), info->description);
  WriteAttribute(out, QZ_TEXT("ip"), info->ipAddress);
  WriteOptionalAttribute(out, QZ_TEXT("mac"), info->macAddress);
  WriteOptionalAttribute(out, QZ_TEXT("speed"), info->speedMbps);
  WriteOptionalAttribute(out, QZ_TEXT("max-speed"), info->maxSpeedMbps);
  if (info->dhcp) WriteAttribute(out, QZ_TEXT("dhcp"), true);
}

void FillNetworkTags(TagList<NetworkTag>& list, bool fullData, bool omitPersonalInfo) {
  FactList<NetworkAdapterInfo> records;
  Platform::GetNetworkAdapters(records, fullData, omitPersonalInfo);
  FillNetworkTags(list, std::move(records));
}

void FillNetworkTags(TagList<NetworkTag>& list, FactList<NetworkAdapterInfo> records) {
  WrapRecords(list, std::move(records), &HasAddress);
}

}  // namespace qz
