#include "qz/qz_flat.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <functional>
#include <string>

#include "api/RunState.h"
#include "platform/Platform.h"
#include "qz/qz.h"
#include "support/LogCapture.h"
#include "support/TestText.h"

namespace qz {
namespace {

using test::LogCapture;
using test::U8;
using test::W;

const QZChar kCompany[] = QZ_TEXT("9531985d-5d9d-49f8-9818-e811892f902b");
const QZChar kApplication[] = QZ_TEXT("36F675CC-81E7-4EF5-A8E2-5D940ED90475");

// Filled through the flat setters; posts go to a closed port and fail at once.
void MakeReachableNowhere(QZConfiguration* config) {
  ::SetCompanyID(config, kCompany);
  ::SetApplicationID(config, kApplication);
  ::SetEndpointLocation(config, QZ_TEXT("127.0.0.1:9/qz"));
  ::SetEndpointUseSSL(config, 0);
  ::SetEndpointTimeout(config, 1000);
  ::SetSupportOfflineStorage(config, 0);
}

class FlatTest : public ::testing::Test {
 protected:
  void TearDown() override {
    ::SetOptIn(1);  // first: opting in after the stop would start a new run
    ::ApplicationStop(nullptr, nullptr);
  }
};

TEST_F(FlatTest, NullHandlesAreIgnored) {
  const QZChar* t = QZ_TEXT("x");
  ::DeleteConfiguration(nullptr);
  ::DeleteBinaryInfo(nullptr);
  ::DeleteExtendedKeys(nullptr);
  ::DeleteFlowController(nullptr);
  ::DeleteExceptionInfo(nullptr);
  for (auto set : {::SetCompanyID, ::SetCompanyName, ::SetApplicationID, ::SetApplicationName,
                   ::SetApplicationType, ::SetApplicationVersion, ::SetApplicationInstanceID,
                   ::SetEndpointLocation}) {
    set(nullptr, t);
  }
  for (auto set : {::SetEndpointUseSSL, ::SetInitialOptIn, ::SetOffline, ::SetInitialSendDisabled,
                   ::SetSupportOfflineStorage, ::SetOmitPersonalInfo, ::SetFullData}) {
    set(nullptr, 1);
  }
  ::SetEndpointTimeout(nullptr, 5);
  ::SetOfflineStorageLimit(nullptr, 5);
  EXPECT_EQ(0, ::SetDefaultIDs(nullptr, nullptr, nullptr));
  for (auto set : {::SetBinaryInfoID, ::SetBinaryInfoName, ::SetBinaryInfoVersion,
                   ::SetBinaryInfoClassName, ::SetBinaryInfoMethodName}) {
    set(nullptr, t);
  }
  ::SetBinaryInfoModifiedDate(nullptr, 1000);
  ::AddExtendedKeysString(nullptr, t, t);
  ::AddExtendedKeysInt(nullptr, t, 1);
  ::AddExtendedKeysLong(nullptr, t, 1);
  ::AddExtendedKeysFloat(nullptr, t, 1.0f);
  ::AddExtendedKeysDouble(nullptr, t, 1.0);
  ::SetFlowControllerQueueSize(nullptr, 5);
  ::SetFlowControllerHighWater(nullptr, 5);
  for (auto set : {::SetFlowControllerMaximumInterval, ::SetFlowControllerMinimumInterval,
                   ::SetFlowControllerGain, ::SetFlowControllerQuietGain,
                   ::SetFlowControllerMaximumSequentialFailureCount}) {
    set(nullptr, 5u);
  }
  ::SetFlowControllerRetryTimeout(nullptr, 5);
  ::SetExceptionInfoEventType(nullptr, 300);
  for (auto set : {::SetExceptionInfoType, ::SetExceptionInfoMessage, ::SetExceptionInfoUserContact,
                   ::SetExceptionInfoUserComment}) {
    set(nullptr, t);
  }
}

// What hosts without the classes read back: for a null handle, empty texts,
// 0 and false, which is also what an inline class without its library object
// answers.
TEST_F(FlatTest, ReadersAnswerEmptyForNullHandles) {
  for (auto get : {::GetConfigurationCompanyID, ::GetConfigurationCompanyName,
                   ::GetConfigurationApplicationID, ::GetConfigurationApplicationType,
                   ::GetConfigurationApplicationName, ::GetConfigurationApplicationVersion,
                   ::GetConfigurationApplicationInstanceID, ::GetConfigurationEndpointLocation,
                   ::GetConfigurationMessageGroup, ::GetConfigurationDefaultSession,
                   ::GetConfigurationServerCertificatePin}) {
    EXPECT_EQ("", U8(get(nullptr)));
  }
  for (auto is : {::IsConfigurationUseSSL, ::IsConfigurationOptIn, ::IsConfigurationOffline,
                  ::IsConfigurationSendDisabled, ::IsConfigurationSupportOfflineStorage,
                  ::IsConfigurationOmitPersonalInfo, ::IsConfigurationFullData,
                  ::IsConfigurationVerifyServerCertificate, ::IsConfigurationUseSystemProxy}) {
    EXPECT_EQ(0, is(nullptr));
  }
  EXPECT_EQ(0, ::GetConfigurationEndpointTimeout(nullptr));
  EXPECT_EQ(0u, ::GetConfigurationOfflineStorageLimit(nullptr));
  for (auto get : {::GetBinaryInfoID, ::GetBinaryInfoName, ::GetBinaryInfoVersion,
                   ::GetBinaryInfoClassName, ::GetBinaryInfoMethodName,
                   ::GetBinaryInfoModifiedDateString}) {
    EXPECT_EQ("", U8(get(nullptr)));
  }
  EXPECT_EQ(0u, ::GetBinaryInfoModifiedDate(nullptr));
  EXPECT_EQ(0u, ::GetExtendedKeysSize(nullptr));
  EXPECT_EQ(nullptr, ::GetExtendedKey(nullptr, 0));
  EXPECT_EQ("", U8(::GetExtendedKeyKey(nullptr)));
  EXPECT_EQ("", U8(::GetExtendedKeyValue(nullptr)));
  EXPECT_EQ(0, ::GetExtendedKeyKind(nullptr));
  for (auto get : {::GetFlowControllerQueueSize, ::GetFlowControllerHighWater}) {
    EXPECT_EQ(0u, get(nullptr));
  }
  for (auto get : {::GetFlowControllerMaximumInterval, ::GetFlowControllerMinimumInterval,
                   ::GetFlowControllerGain, ::GetFlowControllerQuietGain,
                   ::GetFlowControllerMaximumSequentialFailureCount}) {
    EXPECT_EQ(0u, get(nullptr));
  }
  EXPECT_EQ(0, ::GetFlowControllerRetryTimeout(nullptr));
  for (auto is : {::IsFlowControllerOffline, ::IsFlowControllerSupportOfflineStorage,
                  ::IsFlowControllerSendDisabled, ::FlowControllerOKToTransmit}) {
    EXPECT_EQ(0, is(nullptr));
  }
  EXPECT_EQ(0u, ::FlowControllerGetInterval(nullptr, 5));
  EXPECT_EQ(0u, ::FlowControllerMessagesToDrop(nullptr, 50));
  EXPECT_EQ(0, ::GetExceptionInfoEventType(nullptr));
  for (auto get : {::GetExceptionInfoEventTypeString, ::GetExceptionInfoType,
                   ::GetExceptionInfoMessage, ::GetExceptionInfoUserContact,
                   ::GetExceptionInfoUserComment}) {
    EXPECT_EQ("", U8(get(nullptr)));
  }
  EXPECT_EQ("", U8(::GetStringBufText(nullptr)));
  EXPECT_EQ(0u, ::GetStringBufLength(nullptr) + ::GetStringBufCapacity(nullptr) +
                    ::GetStringBufGrowth(nullptr));
  EXPECT_EQ(0, ::StringBufStartsWith(nullptr, QZ_TEXT("x"), 0));
  EXPECT_EQ(-1, ::StringBufLastIndexOf(nullptr, 'x'));
}

// ... and their setters and operations ignore a null handle, as the others do.
TEST_F(FlatTest, AdditionsIgnoreNullHandles) {
  const QZChar* t = QZ_TEXT("x");
  QZConfiguration* config = ::CreateConfiguration();
  ::SetCompanyName(config, t);
  ::AssignConfiguration(nullptr, config);
  ::AssignBinaryInfo(nullptr, nullptr);
  ::AssignFlowController(nullptr, nullptr);
  ::AssignExceptionInfo(nullptr, nullptr);
  // A null source resets, as the classes' assignment from a null pointer does.
  ::AssignConfiguration(config, nullptr);
  EXPECT_EQ("", U8(config->GetCompanyName()));
  ::DeleteConfiguration(config);
  for (auto set : {::SetFlowControllerOffline, ::SetFlowControllerSupportOfflineStorage,
                   ::SetFlowControllerSendDisabled, ::FlowControllerOnSend}) {
    set(nullptr, 1);
  }
  ::ExceptionInfoFromException(nullptr, 100, "x");
  ::DeleteStringBuf(nullptr);
  EXPECT_EQ(1, ::AssignStringBuf(nullptr, t));
  EXPECT_EQ(1, ::StringBufAppend(nullptr, t, 1));
  EXPECT_EQ(1, ::StringBufAppendNarrow(nullptr, "x"));
  EXPECT_EQ(1, ::StringBufAppendInt32(nullptr, 1, 10));
  EXPECT_EQ(1, ::StringBufAppendUInt32(nullptr, 1, 10));
  EXPECT_EQ(1, ::StringBufAppendUInt64(nullptr, 1, 10));
  EXPECT_EQ(1, ::StringBufAppendDouble(nullptr, 1.0));
  for (auto edit : {::StringBufClear, ::StringBufTrim, ::StringBufToUpperCase,
                    ::StringBufToLowercase}) {
    edit(nullptr);
  }
  ::StringBufSubString(nullptr, 0, 1);
  ::StringBufSubStringFrom(nullptr, 0);

  // Nor do they take what their classes would refuse: no characters to append
  // from, an event type that is none of the three.
  QZStringBuf* text = ::CreateStringBufFromText(t);
  ASSERT_NE(nullptr, text);
  EXPECT_EQ(1, ::StringBufAppend(text, nullptr, 5));
  EXPECT_EQ("x", U8(::GetStringBufText(text)));
  ::DeleteStringBuf(text);
  QZExceptionInfo* info = ::CreateExceptionInfo();
  ::ExceptionInfoFromException(info, 150, "text");
  EXPECT_EQ(ExceptionInfo::EVENT_CAUGHT, info->GetEventType());
  EXPECT_EQ("", U8(info->GetMessage()));
  ::DeleteExceptionInfo(info);
}

TEST_F(FlatTest, FlagsTakeAnyNonZeroIntAsTrue) {
  const struct {
    void (*set)(QZConfiguration*, int);
    bool (Configuration::*get)() const;
  } flags[] = {{::SetEndpointUseSSL, &Configuration::IsUseSSL},
               {::SetInitialOptIn, &Configuration::IsOptIn},
               {::SetOffline, &Configuration::IsOffline},
               {::SetInitialSendDisabled, &Configuration::IsSendDisabled},
               {::SetSupportOfflineStorage, &Configuration::IsSupportOfflineStorage},
               {::SetOmitPersonalInfo, &Configuration::IsOmitPersonalInfo},
               {::SetFullData, &Configuration::IsFullData}};
  QZConfiguration* config = ::CreateConfiguration();
  ASSERT_NE(nullptr, config);
  for (const auto& flag : flags) {
    for (int value : {2, 0, -1, 0, 1}) {
      flag.set(config, value);
      EXPECT_EQ(value != 0, (config->*flag.get)()) << value;
    }
  }
  ::DeleteConfiguration(config);
}

// Each setter reaches its own field (distinct values show a crossed wire) and
// keeps the wrapped operation's rules.
TEST_F(FlatTest, SettersReachTheirOwnFieldsWithTheClassRules) {
  QZConfiguration* config = ::CreateConfiguration();
  QZBinaryInfo* binary = ::CreateBinaryInfo();
  QZExceptionInfo* info = ::CreateExceptionInfo();
  ASSERT_TRUE(config != nullptr && binary != nullptr && info != nullptr);
  const struct {
    void (*set)(QZConfiguration*, const QZChar*);
    const QZChar* (Configuration::*get)() const;
  } configTexts[] = {{::SetCompanyName, &Configuration::GetCompanyName},
                     {::SetApplicationName, &Configuration::GetApplicationName},
                     {::SetApplicationType, &Configuration::GetApplicationType},
                     {::SetApplicationVersion, &Configuration::GetApplicationVersion},
                     {::SetApplicationInstanceID, &Configuration::GetApplicationInstanceID},
                     {::SetEndpointLocation, &Configuration::GetEndpointLocation}};
  const struct {
    void (*set)(QZBinaryInfo*, const QZChar*);
    const QZChar* (BinaryInfo::*get)() const;
  } binaryTexts[] = {{::SetBinaryInfoName, &BinaryInfo::GetName},
                     {::SetBinaryInfoVersion, &BinaryInfo::GetVersion},
                     {::SetBinaryInfoClassName, &BinaryInfo::GetClassName},
                     {::SetBinaryInfoMethodName, &BinaryInfo::GetMethodName}};
  const struct {
    void (*set)(QZExceptionInfo*, const QZChar*);
    const QZChar* (ExceptionInfo::*get)() const;
  } infoTexts[] = {{::SetExceptionInfoType, &ExceptionInfo::GetType},
                   {::SetExceptionInfoMessage, &ExceptionInfo::GetMessage},
                   {::SetExceptionInfoUserContact, &ExceptionInfo::GetUserContact},
                   {::SetExceptionInfoUserComment, &ExceptionInfo::GetUserComment}};
  int n = 0;
  for (const auto& c : configTexts) c.set(config, W(std::to_string(n++).c_str()).c_str());
  for (const auto& c : binaryTexts) c.set(binary, W(std::to_string(n++).c_str()).c_str());
  for (const auto& c : infoTexts) c.set(info, W(std::to_string(n++).c_str()).c_str());
  n = 0;
  for (const auto& c : configTexts) EXPECT_EQ(std::to_string(n++), U8((config->*c.get)()));
  for (const auto& c : binaryTexts) EXPECT_EQ(std::to_string(n++), U8((binary->*c.get)()));
  for (const auto& c : infoTexts) EXPECT_EQ(std::to_string(n++), U8((info->*c.get)()));

  ::SetCompanyID(config, kCompany);
  ::SetApplicationID(config, QZ_TEXT("{36F675CC-81E7-4EF5-A8E2-5D940ED90475}"));
  EXPECT_EQ("9531985D-5D9D-49F8-9818-E811892F902B", U8(config->GetCompanyID()));
  EXPECT_EQ("", U8(config->GetApplicationID()));
  EXPECT_EQ(1, ::SetDefaultIDs(config, kApplication, kCompany));
  EXPECT_EQ(0, ::SetDefaultIDs(config, kApplication, QZ_TEXT("no")));
  EXPECT_EQ("9531985D-5D9D-49F8-9818-E811892F902B", U8(config->GetDefaultSession()));
  ::SetEndpointTimeout(config, -5);
  EXPECT_EQ(10000, config->GetEndpointTimeout());
  ::SetEndpointTimeout(config, LONG_MAX);
  EXPECT_EQ(INT32_MAX, config->GetEndpointTimeout());
  ::SetOfflineStorageLimit(config, UINT64_MAX);  // 64 bits on every system
  EXPECT_EQ(UINT64_MAX, config->GetOfflineStorageLimit());
  EXPECT_EQ(UINT64_MAX, ::GetConfigurationOfflineStorageLimit(config));

  ::SetBinaryInfoID(binary, kCompany);
  ::SetBinaryInfoModifiedDate(binary, 1000);
  EXPECT_EQ("9531985D-5D9D-49F8-9818-E811892F902B", U8(binary->GetID()));
  EXPECT_EQ("1970-01-01T00:00:01.000Z", U8(binary->GetModifiedDateString()));

  ::SetExceptionInfoEventType(info, 300);
  ::SetExceptionInfoEventType(info, 150);
  EXPECT_EQ(300, info->GetEventType());
  ::SetExceptionInfoUserComment(info, QZ_TEXT("  kept  "));
  EXPECT_EQ("kept", U8(info->GetUserComment()));

  ::DeleteConfiguration(config);
  ::DeleteBinaryInfo(binary);
  ::DeleteExceptionInfo(info);
}

TEST_F(FlatTest, ExtendedKeysKeepTheKindAndFullValueOfEachAdd) {
  QZExtendedKeys* keys = ::CreateExtendedKeys();
  ASSERT_NE(nullptr, keys);
  ::AddExtendedKeysString(keys, QZ_TEXT("a"), QZ_TEXT("text"));
  ::AddExtendedKeysInt(keys, QZ_TEXT("b"), -15);
  ::AddExtendedKeysLong(keys, QZ_TEXT("c"), LONG_MAX);
  ::AddExtendedKeysFloat(keys, QZ_TEXT("d"), 0.1f);
  ::AddExtendedKeysDouble(keys, QZ_TEXT("e"), 2.0);
  ::AddExtendedKeysString(keys, QZ_TEXT("f"), QZ_TEXT(""));  // ignored, as by the class
  const struct { int32_t kind; std::string value; } expected[] = {
      {ExtendedKey::KIND_TEXT, "text"},
      {ExtendedKey::KIND_INT, "-15"},
      {ExtendedKey::KIND_LONG, std::to_string(LONG_MAX)},
      {ExtendedKey::KIND_FLOAT, "0.100000"},
      {ExtendedKey::KIND_DOUBLE, "2.000000"}};
  ASSERT_EQ(5u, keys->Size());
  for (uint64_t i = 0; i < 5; ++i) {
    EXPECT_EQ(expected[i].kind, keys->Get(i)->GetKind()) << i;
    EXPECT_EQ(expected[i].value, U8(keys->Get(i)->Value())) << i;
  }
  ::DeleteExtendedKeys(keys);
}

TEST_F(FlatTest, FlowControllerSizesWidenWithTheirSign) {
  QZFlowController* flow = ::CreateFlowController();
  ASSERT_NE(nullptr, flow);
  ::SetFlowControllerQueueSize(flow, -1);
  EXPECT_EQ(SIZE_MAX, flow->GetQueueSize());
  EXPECT_EQ(SIZE_MAX / 3 * 2, flow->GetHighWater());
  ::SetFlowControllerHighWater(flow, 5);
  EXPECT_EQ(5u, flow->GetHighWater());
  ::SetFlowControllerQueueSize(flow, 2);
  EXPECT_EQ(3u, flow->GetQueueSize());

  ::SetFlowControllerMaximumInterval(flow, 5000);
  ::SetFlowControllerMinimumInterval(flow, 7);
  ::SetFlowControllerGain(flow, 250);
  ::SetFlowControllerQuietGain(flow, 40);
  ::SetFlowControllerMaximumSequentialFailureCount(flow, 9);
  ::SetFlowControllerRetryTimeout(flow, -1);
  EXPECT_EQ(5000u, flow->GetMaximumInterval());
  EXPECT_EQ(7u, flow->GetMinimumInterval());
  EXPECT_EQ(250u, flow->GetGain());
  EXPECT_EQ(40u, flow->GetQuietGain());
  EXPECT_EQ(9u, flow->GetMaximumSequentialFailureCount());
  EXPECT_EQ(0, flow->GetRetryTimeout());
  ::DeleteFlowController(flow);
}

TEST_F(FlatTest, ObjectsMadeEitherWayServeBothInterfaces) {
  // Made here, used by the classes; freed right after the start that copied it.
  QZConfiguration* flatConfig = ::CreateConfiguration();
  MakeReachableNowhere(flatConfig);
  ASSERT_TRUE(API::ApplicationStart(flatConfig, nullptr, nullptr, nullptr));
  ::DeleteConfiguration(flatConfig);
  EXPECT_EQ(1, ::IsApplicationStarted());
  EXPECT_EQ(U8(API::GetDefaultSession()), U8(::GetDefaultSession()));
  EXPECT_EQ(U8(API::GetMessageGroup()), U8(::GetMessageGroup()));
  ::SetSendDisabled(2);
  EXPECT_TRUE(TheRun().configuration.IsSendDisabled());
  ::SendMessages();
  ::ApplicationStop(nullptr, nullptr);
  EXPECT_EQ(0, ::IsApplicationStarted());
  EXPECT_EQ(nullptr, ::GetDefaultSession());

  // Made by the classes, used here; opt-in off, then switched on by the flat SetOptIn.
  Configuration config;
  MakeReachableNowhere(&config);
  config.SetOptIn(false);
  FlowController flow;
  BinaryInfo binary;
  ExtendedKeys keys;
  EXPECT_EQ(0, ::ApplicationStart(&config, &flow, &binary, &keys));
  ::SetOptIn(3);
  EXPECT_EQ(1, ::IsApplicationStarted());
  ::ApplicationStop(&binary, &keys);

  LogCapture log;
  EXPECT_EQ(0, ::ApplicationStart(nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(1, log.Count("API::ApplicationStart", "QZ not started: missing configuration"));
  ::SetLogLevel(400);
  EXPECT_EQ(300, Platform::GetLogLevel());  // clamped by the platform, as for the class
}

// Each event function reaches its own operation: a refused argument is logged
// under that operation's name.
TEST_F(FlatTest, EventFunctionsForwardToTheirOperations) {
  QZConfiguration* config = ::CreateConfiguration();
  MakeReachableNowhere(config);
  ASSERT_EQ(1, ::ApplicationStart(config, nullptr, nullptr, nullptr));
  ::DeleteConfiguration(config);
  QZExceptionInfo* info = ::CreateExceptionInfo();
  const QZChar* bad = QZ_TEXT("x");
  struct Case {
    std::function<void()> call;
    const char* source;
    const char* message;
  };
  const Case cases[] = {
      {[] { ::SessionStart(nullptr, nullptr, nullptr); }, "API::SessionStart", "invalid session ID - "},
      {[] { ::SessionStop(nullptr, nullptr, nullptr); }, "API::SessionStop", "invalid session ID - "},
      {[] { ::FeatureStart(nullptr, nullptr, nullptr, nullptr); }, "API::FeatureStart", "missing feature name"},
      {[] { ::FeatureStop(nullptr, nullptr, nullptr, nullptr); }, "API::FeatureStop", "missing feature name"},
      {[] { ::FeatureTick(nullptr, nullptr, nullptr, nullptr); }, "API::FeatureTick", "missing feature name"},
      {[=] { ::PerformanceProbe(bad, bad, nullptr, nullptr); }, "API::PerformanceProbe", "invalid session ID - x"},
      {[=] { ::SystemProfile(bad, nullptr, nullptr); }, "API::SystemProfile", "invalid session ID - x"},
      {[=] { ::ReportException(info, bad, nullptr, nullptr); }, "API::ReportException", "invalid session ID - x"}};
  for (const auto& c : cases) {
    LogCapture log;
    c.call();
    EXPECT_EQ(1, log.Count(c.source, c.message)) << log.Dump();
  }
  ::DeleteExceptionInfo(info);
}

}  // namespace
}  // namespace qz
