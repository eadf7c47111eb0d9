// The "feature" message: one use of a named feature, as a tick or as one end
// of a start/stop pair that shares a group id.
#ifndef QZ_MESSAGES_FEATURE_H
#define QZ_MESSAGES_FEATURE_H

#include "messages/Message.h"

namespace qz {

class FeatureCorrelator;

class Feature : public Message {
 public:
  static const QZChar* const EVENT_START;
  static const QZChar* const EVENT_STOP;
  static const QZChar* const EVENT_TICK;

  static Feature* CreateTick(const QZChar* session, const QZChar* name, const BinaryInfo* info,
                             const ExtendedKeys* keys);
  // Leaves a mark in correlator so that a later stop can find this start.
  // REQUIRES: the caller serialises every use of correlator.
  static Feature* CreateStart(FeatureCorrelator* correlator, const QZChar* session,
                              const QZChar* name, const BinaryInfo* info,
                              const ExtendedKeys* keys);
  // Takes the matching start's group; without one the stop is still made,
  // unpaired, and a warning logged.
  // REQUIRES: the caller serialises every use of correlator.
  static Feature* CreateStop(FeatureCorrelator* correlator, const QZChar* session,
                             const QZChar* name, const BinaryInfo* info,
                             const ExtendedKeys* keys);

  ~Feature() override;

  StringBuf& Write(StringBuf& out) override;

  const QZChar* GetName() const { return OwnText(0); }
  const QZChar* GetEvent() const { return event; }
  // The group written: the paired start's id, or the message's own id.
  const QZChar* GetGroup() const;

 protected:
  void WriteAttributes(StringBuf& out) override;

 private:
  // group: the paired start's id, for a stop that found its start.
  Feature(const QZChar* session, const QZChar* name, const BinaryInfo* info,
          const ExtendedKeys* keys, const QZChar* event, const QZChar* group);

  const QZChar* event;
};

}  // namespace qz

#endif  // QZ_MESSAGES_FEATURE_H
