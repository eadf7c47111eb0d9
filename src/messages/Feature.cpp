#include "messages/Feature.h"

#include <memory>

#include "messages/FeatureCorrelator.h"
#include "platform/Platform.h"

namespace qz {

const QZChar* const Feature::EVENT_START = QZ_TEXT("start");
const QZChar* const Feature::EVENT_STOP = QZ_TEXT("stop");
const QZChar* const Feature::EVENT_TICK = QZ_TEXT("tick");

Feature::Feature(const QZChar* session, const QZChar* name, const BinaryInfo* info,
                 const ExtendedKeys* keys, const QZChar* event, const QZChar* group)
    : Message(session, info, keys, name, group), event(event) {}

Feature::~Feature() = default;

Feature* Feature::CreateTick(const QZChar* session, const QZChar* name, const BinaryInfo* info,
                             const ExtendedKeys* keys) {
  return new Feature(session, name, info, keys, EVENT_TICK, nullptr);
}

Feature* Feature::CreateStart(FeatureCorrelator* correlator, const QZChar* session,
                              const QZChar* name, const BinaryInfo* info,
                              const ExtendedKeys* keys) {
  std::unique_ptr<Feature> feature(new Feature(session, name, info, keys, EVENT_START, nullptr));
  if (correlator != nullptr) correlator->AddMark(name, feature->GetID());
  return feature.release();
}

Feature* Feature::CreateStop(FeatureCorrelator* correlator, const QZChar* session,
                             const QZChar* name, const BinaryInfo* info,
                             const ExtendedKeys* keys) {
  StringBuf group(36);
  if (correlator == nullptr || !correlator->TakeGroup(name, group)) {
    StringBuf message(64);
    message.Append(QZ_TEXT("Unable to determine feature group for ")).Append(name);
    Platform::LogWarn(QZ_TEXT("FeatureStop"), message);
  }
  return new Feature(session, name, info, keys, EVENT_STOP, group);
}

const QZChar* Feature::GetGroup() const {
  const QZChar* group = OwnText(1);
  return group[0] != 0 ? group : GetID();
}

StringBuf& Feature::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("feature")); }

void Feature::WriteAttributes(StringBuf& out) {
  Message::WriteAttributes(out);
  WriteAttribute(out, QZ_TEXT("group"), GetGroup());
  WriteAttribute(out, QZ_TEXT("name"), GetName());
  WriteAttribute(out, QZ_TEXT("event"), event);
}

}  // namespace qz
