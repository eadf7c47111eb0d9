// A started, not yet stopped feature: who started it and with which group.
#ifndef QZ_MESSAGES_FEATUREMARK_H
#define QZ_MESSAGES_FEATUREMARK_H

#include "qz/StringBuf.h"

namespace qz {

class ThreadID;

class FeatureMark {
 public:
  // Takes ownership of threadID (may be null when there is no platform).
  FeatureMark(const QZChar* name, ThreadID* threadID, const QZChar* group);
  virtual ~FeatureMark();
  FeatureMark(const FeatureMark&) = delete;
  FeatureMark& operator=(const FeatureMark&) = delete;

  const StringBuf& GetName() const { return name; }
  const ThreadID* GetThreadID() const { return threadID; }
  const StringBuf& GetGroup() const { return group; }

 private:
  StringBuf name;
  ThreadID* threadID;
  StringBuf group;
};

}  // namespace qz

#endif  // QZ_MESSAGES_FEATUREMARK_H
