#include "messages/FeatureCorrelator.h"

#include <cstddef>
#include <memory>

#include "delivery/ThreadID.h"
#include "messages/FeatureMark.h"
#include "platform/Platform.h"

namespace qz {

namespace {

bool SameName(const StringBuf& a, const QZChar* b) {
  const QZChar* p = a.ToString();
  if (b == nullptr) return *p == 0;
  while (*p != 0 && *p == *b) {
    ++p;
    ++b;
  }
  return *p == *b;
}

}  // namespace

FeatureCorrelator::FeatureCorrelator() = default;

FeatureCorrelator::~FeatureCorrelator() {
  for (size_t i = marks.size(); i > 0; --i) delete marks[i - 1];
  marks.clear();
}

void FeatureCorrelator::AddMark(const QZChar* name, const QZChar* group) {
  std::unique_ptr<ThreadID> starter(Platform::NewThreadID());
  std::unique_ptr<FeatureMark> mark(new FeatureMark(name, starter.get(), group));
  starter.release();  // the mark's now
  marks.insert(marks.begin(), mark.get());
  mark.release();
}

bool FeatureCorrelator::TakeGroup(const QZChar* name, StringBuf& out) {
  std::unique_ptr<ThreadID> caller(Platform::NewThreadID());
  size_t found = marks.size();
  // A stop belongs to its own thread's newest start before anyone else's.
  if (caller) {
    for (size_t i = 0; i < marks.size(); ++i) {
      const ThreadID* owner = marks[i]->GetThreadID();
      if (owner != nullptr && owner->Equals(caller.get()) && SameName(marks[i]->GetName(), name)) {
        found = i;
        break;
      }
    }
  }
  if (found == marks.size()) {
    for (size_t i = 0; i < marks.size(); ++i) {
      if (SameName(marks[i]->GetName(), name)) {
        found = i;
        break;
      }
    }
  }
  if (found == marks.size()) return false;
  FeatureMark* mark = marks[found];
  out = mark->GetGroup();
  marks.erase(marks.begin() + static_cast<std::ptrdiff_t>(found));
  delete mark;
  return true;
}

}  // namespace qz
