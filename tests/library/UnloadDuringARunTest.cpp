// A host that unloads the library in the middle of a run, without
// ApplicationStop: the run's threads keep the library loaded and go on
// posting; the host can load it again and stop the same run, and only then
// does the library go.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "LibraryCopy.h"
#include "qz/qz_flat.h"
#include "support/Receiver.h"

namespace {

const QZChar kCompany[] = QZ_TEXT("9531985D-5D9D-49F8-9818-E811892F902B");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");

bool WaitForRequests(qz::test::Receiver& receiver, int count) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (receiver.Count() < count) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

TEST(UnloadDuringARun, TheRunGoesOnUntilStoppedAndOnlyThenTheLibraryGoes) {
  qz::test::Receiver receiver;
  std::string why;
  if (!receiver.Connect(&why)) GTEST_SKIP() << why;
  ASSERT_TRUE(receiver.Reset());
  LibraryCopy copy;
  ASSERT_FALSE(copy.Path().empty());
  ASSERT_TRUE(copy.Load());

  // The host's own objects go before the unload, as a careful host's would.
  QZConfiguration* config = copy.Get<decltype(CreateConfiguration)>("CreateConfiguration")();
  copy.Get<decltype(SetCompanyID)>("SetCompanyID")(config, kCompany);
  copy.Get<decltype(SetApplicationID)>("SetApplicationID")(config, kApplication);
  copy.Get<decltype(SetSupportOfflineStorage)>("SetSupportOfflineStorage")(config, 0);
  copy.Get<decltype(SetEndpointUseSSL)>("SetEndpointUseSSL")(config, 0);
  const std::string location = receiver.Location(false, "/qz");
  const std::u16string wide(location.begin(), location.end());
  copy.Get<decltype(SetEndpointLocation)>("SetEndpointLocation")(
      config, reinterpret_cast<const QZChar*>(wide.c_str()));
  // The first pass comes this long after the start: well after the unload.
  QZFlowController* flow = copy.Get<decltype(CreateFlowController)>("CreateFlowController")();
  copy.Get<decltype(SetFlowControllerMaximumInterval)>("SetFlowControllerMaximumInterval")(flow, 1500);
  ASSERT_EQ(1, copy.Get<decltype(ApplicationStart)>("ApplicationStart")(config, flow, nullptr, nullptr));
  copy.Get<decltype(FeatureTick)>("FeatureTick")(QZ_TEXT("Export"), nullptr, nullptr, nullptr);
  copy.Get<decltype(DeleteFlowController)>("DeleteFlowController")(flow);
  copy.Get<decltype(DeleteConfiguration)>("DeleteConfiguration")(config);
  ASSERT_EQ(0, receiver.Count());

  ASSERT_TRUE(copy.Unload());
  EXPECT_TRUE(copy.IsLoaded()) << "the run's threads should hold the library";
  // The transmitter posts from the library that the host has let go.
  ASSERT_TRUE(WaitForRequests(receiver, 1));

  // Loaded again, it is the same library with the same run.
  ASSERT_TRUE(copy.Load());
  EXPECT_EQ(1, copy.Get<decltype(IsApplicationStarted)>("IsApplicationStarted")());
  copy.Get<decltype(ApplicationStop)>("ApplicationStop")(nullptr, nullptr);
  EXPECT_EQ(0, copy.Get<decltype(IsApplicationStarted)>("IsApplicationStarted")());
  EXPECT_TRUE(WaitForRequests(receiver, 2));
  qz::test::RecordedRequest last;
  ASSERT_TRUE(receiver.Request(-1, last));
  EXPECT_NE(std::string::npos, last.body.find("<app-stop ")) << last.body;

  // Once the run's threads are gone, nothing holds it but the host.
  ASSERT_TRUE(copy.Unload());
  EXPECT_FALSE(copy.IsLoaded());
}

}  // namespace
