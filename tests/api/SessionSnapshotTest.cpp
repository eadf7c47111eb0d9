#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "api/SessionSnapshot.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::QZString;
using test::W;

QZString Loaded(const SessionSnapshot& snapshot) {
  SessionSnapshot::Text text;
  snapshot.Load(text);
  return text;
}

TEST(SessionSnapshot, KeepsTheSessionLastStored) {
  SessionSnapshot snapshot;
  EXPECT_EQ(W(""), Loaded(snapshot));
  const QZString session = W("6B0D549B-6F03-475A-9600-A35A099950D8");
  snapshot.Store(session.c_str());
  EXPECT_EQ(session, Loaded(snapshot));
  snapshot.Store(W("D23F0824").c_str());
  EXPECT_EQ(W("D23F0824"), Loaded(snapshot));
  snapshot.Store(nullptr);
  EXPECT_EQ(W(""), Loaded(snapshot));
}

// Readers run beside the one writer: each sees one whole session, never part
// of one and part of the other.
TEST(SessionSnapshot, AReaderNeverSeesAHalfStoredSession) {
  SessionSnapshot snapshot;
  const QZString a = W("AAAAAAAA-AAAA-AAAA-AAAA-AAAAAAAAAAAA");
  const QZString b = W("BBBBBBBB-BBBB-BBBB-BBBB-BBBB");
  snapshot.Store(a.c_str());
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int i = 0; i < 20000; ++i) snapshot.Store((i % 2 == 0 ? b : a).c_str());
    done.store(true);
  });
  int loads = 0;
  int torn = 0;
  while (!done.load()) {
    const QZString seen = Loaded(snapshot);
    if (seen != a && seen != b) ++torn;
    ++loads;
  }
  writer.join();
  EXPECT_EQ(0, torn) << "of " << loads << " loads";
}

}  // namespace
}  // namespace qz
