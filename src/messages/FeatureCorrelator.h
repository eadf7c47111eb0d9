// Pairs feature stops with their starts: last in, first out per name,
// preferring a start made on the stopping thread.
// Has no lock: every caller must hold the run's global lock.
#ifndef QZ_MESSAGES_FEATURECORRELATOR_H
#define QZ_MESSAGES_FEATURECORRELATOR_H

#include <cstddef>
#include <vector>

#include "qz/StringBuf.h"

namespace qz {

class FeatureMark;

class FeatureCorrelator {
 public:
  FeatureCorrelator();
  // Open marks die with the correlator; nothing is sent for them.
  virtual ~FeatureCorrelator();
  FeatureCorrelator(const FeatureCorrelator&) = delete;
  FeatureCorrelator& operator=(const FeatureCorrelator&) = delete;

  // Remembers a start of name on the calling thread.
  void AddMark(const QZChar* name, const QZChar* group);
  // Finds the start that a stop of name on the calling thread closes; on a
  // match copies its group into out, forgets the mark and returns true.
  // Otherwise returns false and leaves out alone.
  bool TakeGroup(const QZChar* name, StringBuf& out);

  size_t GetOpenCount() const { return marks.size(); }

 private:
  std::vector<FeatureMark*> marks;  // owned, newest first
};

}  // namespace qz

#endif  // QZ_MESSAGES_FEATURECORRELATOR_H
