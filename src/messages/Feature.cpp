#include "messages/Feature.h"

#include <memory>

#include "messages/FeatureCorrelator.h"
#include "platform/Platform.h"

namespace qz {

const QZChar* const Feature::EVENT_START = QZ_TEXT("start");
const QZChar* const Feature::EVENT_STOP = QZ_TEXT("stop");
const QZChar* const Feature::EVENT_TICK = QZ_TEXT("tick");

Feature::Feature(const QZChar* session, const QZChar* name, const BinaryInfo* info,
                 const ExtendedKeys* keys, const QZChar* event)
    : Message(session, info, keys), name(name), event(event) {}

Feature::~Feature() = default;

Feature* Feature::CreateTick(const QZChar* session, const QZChar* name, const BinaryInfo* info,
                             const ExtendedKeys* keys) {
  return new Feature(session, name, info, keys, EVENT_TICK);
}

Feature* Feature::CreateStart(FeatureCorrelator* correlator, const QZChar* session,
                              const QZChar* name, const BinaryInfo* info,
                              const ExtendedKeys* keys) {
  std::unique_ptr<Feature> feature(new Feature(session, name, info, keys, EVENT_START));
  if (correlator != nullptr) correlator->AddMark(name, feature->GetID());
  return feature.release();
}

Feature* Feature::CreateStop(FeatureCorrelator* correlator, const QZChar* session,
                             const QZChar* name, const BinaryInfo* info,
                             const ExtendedKeys* keys) {
  std::unique_ptr<Feature> feature(new Feature(session, name, info, keys, EVENT_STOP));
  if (correlator == nullptr || !correlator->TakeGroup(name, feature->group)) {
    StringBuf message(64);
    message.Append(QZ_TEXT("Unable to determine feature group for ")).Append(name);
    Platform::LogWarn(QZ_TEXT("FeatureStop"), message);
  }
  return feature.release();
}

const QZChar* Feature::GetGroup() const {
  return group.StrLen() != 0 ? group.ToString() : GetID().ToString();
}

StringBuf& Feature::Write(StringBuf& out) { return WriteElement(out, QZ_TEXT("feature")); }

void Feature::WriteAttributes(StringBuf& out) {
  Message::WriteAttributes(out);
  WriteAttribute(out, QZ_TEXT("group"), GetGroup());
  WriteAttribute(out, QZ_TEXT("name"), name);
  WriteAttribute(out, QZ_TEXT("event"), event);
}

}  // namespace qz
