#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "profile/CpuTag.h"
#include "profile/DiskTag.h"
#include "profile/MemoryTag.h"
#include "profile/ModemTag.h"
#include "profile/NetworkTag.h"
#include "profile/PageFileTag.h"
#include "profile/ScreenTag.h"
#include "profile/SoundTag.h"
#include "profile/VideoTag.h"
#include "support/TestText.h"

namespace qz {
namespace {

std::string Written(Tag& tag) {
  StringBuf out;
  return test::U8(tag.Write(out).ToString());
}

template <typename TagType>
std::string Written(TagList<TagType>& tags) {
  std::string text;
  for (auto& tag : tags) text += Written(*tag);
  return text;
}

std::unique_ptr<NetworkAdapterInfo> Adapter(const char* ip, const char* description) {
  auto adapter = std::make_unique<NetworkAdapterInfo>();
  adapter->ipAddress = test::W(ip).c_str();
  adapter->description = test::W(description).c_str();
  return adapter;
}

TEST(HardwareTagsTest, ListElementsWriteWhatTheirRecordsHold) {
  auto cpu = std::make_unique<CpuInfo>();
  cpu->name = QZ_TEXT("CPU0");
  cpu->manufacturer = QZ_TEXT("Intel");
  cpu->addressWidth = 64;
  cpu->maxSpeed = 3400;
  CpuTag cpuTag(std::move(cpu));
  EXPECT_EQ("<cpu name=\"CPU0\" manufacturer=\"Intel\" address-width=\"64\" max-speed=\"3400\"/>\n",
            Written(cpuTag));

  // A drive without media keeps its zeros.
  auto disk = std::make_unique<DiskInfo>();
  disk->name = QZ_TEXT("D:");
  DiskTag noMedia(std::move(disk));
  EXPECT_EQ("<disk name=\"D:\" size=\"0\" free=\"0\"/>\n", Written(noMedia));
  disk = std::make_unique<DiskInfo>();
  disk->name = QZ_TEXT("C:");
  disk->sizeMB = 5000000;
  disk->freeMB = 1234;
  disk->fileSystem = QZ_TEXT("NTFS");
  disk->serial = QZ_TEXT("A4ED1437");
  DiskTag fullDisk(std::move(disk));
  EXPECT_EQ("<disk name=\"C:\" size=\"5000000\" free=\"1234\" fstype=\"NTFS\" serial=\"A4ED1437\"/>\n",
            Written(fullDisk));

  auto adapter = Adapter("192.168.1.20", "PRO/1000 & more");
  adapter->macAddress = QZ_TEXT("00:1A:2B:3C:4D:5E");
  adapter->speedMbps = 10000;
  adapter->dhcp = true;
  NetworkTag network(std::move(adapter));
  EXPECT_EQ("<network conn-id=\"PRO/1000 &amp; more\" ip=\"192.168.1.20\" mac=\"00:1A:2B:3C:4D:5E\""
            " speed=\"10000\" dhcp=\"true\"/>\n",
            Written(network));
}

TEST(HardwareTagsTest, SingleElementsAreLeftOutWhileTheyHoldNothing) {
  MemoryInfo memory;
  ScreenInfo screen;
  VideoInfo video;
  DeviceInfo device;
  MemoryTag noMemory(memory);
  ScreenTag noScreen(screen);
  VideoTag noVideo(video);
  SoundTag noSound(device);
  ModemTag noModem(device);
  EXPECT_EQ("", Written(noMemory) + Written(noScreen) + Written(noVideo) + Written(noSound) +
                    Written(noModem));

  memory.speed = 1333;
  MemoryTag speedOnly(memory);
  EXPECT_EQ("<memory speed=\"1333\"/>\n", Written(speedOnly));
  // Sizes from the system metrics when the display settings cannot be read.
  screen.width = 1024;
  screen.height = 768;
  ScreenTag metrics(screen);
  EXPECT_EQ("<screen width=\"1024\" height=\"768\"/>\n", Written(metrics));
  video.name = QZ_TEXT("Wine Adapter");
  video.colors = uint64_t{1} << 32;
  video.memoryMB = 512;
  VideoTag videoTag(video);
  EXPECT_EQ("<video name=\"Wine Adapter\" colors=\"4294967296\" memory=\"512\"/>\n",
            Written(videoTag));
  device.second = QZ_TEXT("HDA Intel PCH");
  SoundTag sound(device);
  EXPECT_EQ("<sound model=\"HDA Intel PCH\"/>\n", Written(sound));
  device.first = QZ_TEXT("Standard Modem");
  ModemTag modem(device);
  EXPECT_EQ("<modem model=\"Standard Modem\" type=\"HDA Intel PCH\"/>\n", Written(modem));
}

TEST(HardwareTagsTest, BuildersKeepThePlatformsOrderAndLeaveOutEmptyRecords) {
  TagList<NetworkTag> networks;
  networks.push_back(std::make_unique<NetworkTag>(Adapter("10.9.9.9", "old")));  // replaced
  FactList<NetworkAdapterInfo> adapters;
  adapters.push_back(Adapter("10.0.0.1", "first"));
  adapters.push_back(Adapter("", "no address"));
  adapters.push_back(Adapter("0.0.0.0", ""));
  FillNetworkTags(networks, std::move(adapters));
  EXPECT_EQ("<network conn-id=\"first\" ip=\"10.0.0.1\"/>\n<network ip=\"0.0.0.0\"/>\n",
            Written(networks));

  // A row with a name, or with only a size, still says something.
  FactList<PageFileInfo> files;
  for (const char* name : {"", "/swap.img", ""}) {
    files.push_back(std::make_unique<PageFileInfo>());
    files.back()->name = test::W(name).c_str();
  }
  files[1]->initialSize = 2048;
  files[2]->maximumSize = 512;
  TagList<PageFileTag> pageFiles;
  FillPageFileTags(pageFiles, std::move(files));
  EXPECT_EQ("<page-file name=\"/swap.img\" initial=\"2048\"/>\n<page-file max=\"512\"/>\n",
            Written(pageFiles));
}

}  // namespace
}  // namespace qz
