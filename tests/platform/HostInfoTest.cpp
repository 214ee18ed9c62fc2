// HostInfoTest.cpp: host_info(HOST_BASIC_INFO): the record's layout, the processors this process
// may run on now, the cores from a fixture topology, the short and wrong calls, and the seam.
#include <gtest/gtest.h>
#include <mach/mach.h>
#include <sched.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "TestSupport.h"

namespace {

class HostInfoTest : public ::testing::Test {
 protected:
  void TearDown() override {
    ZRTestingResetHostInfo();
    ZRTestingSetSysfsRoot(nullptr);
    if (!folder_.empty()) {
      EXPECT_TRUE(zrtest::RemoveFolder(folder_));
    }
  }

  static kern_return_t Ask(host_basic_info_data_t* info, mach_msg_type_number_t* count) {
    std::memset(info, 0, sizeof *info);
    return host_info(mach_host_self(), HOST_BASIC_INFO, reinterpret_cast<host_info_t>(info), count);
  }

  std::string folder_;
};

TEST_F(HostInfoTest, RecordIsTwelveWordsAsOnThePlatform) {
  EXPECT_EQ(sizeof(host_basic_info_data_t), 48u);
  EXPECT_EQ(HOST_BASIC_INFO_COUNT, 12u);
  EXPECT_EQ(offsetof(host_basic_info, logical_cpu), 32u);
  EXPECT_EQ(offsetof(host_basic_info, max_mem), 40u);
  EXPECT_EQ(HOST_BASIC_INFO, 1);
}

TEST_F(HostInfoTest, LogicalProcessorsAreThoseTheProcessMayUse) {
  cpu_set_t allowed;
  ASSERT_EQ(sched_getaffinity(0, sizeof allowed, &allowed), 0);
  host_basic_info_data_t info;
  mach_msg_type_number_t count = HOST_BASIC_INFO_COUNT;
  ASSERT_EQ(Ask(&info, &count), KERN_SUCCESS);
  EXPECT_EQ(count, HOST_BASIC_INFO_COUNT);
  EXPECT_EQ(info.logical_cpu, CPU_COUNT(&allowed));
  EXPECT_EQ(info.logical_cpu_max, sysconf(_SC_NPROCESSORS_CONF));
  EXPECT_EQ(info.avail_cpus, sysconf(_SC_NPROCESSORS_ONLN));
  EXPECT_EQ(info.max_cpus, sysconf(_SC_NPROCESSORS_CONF));
  EXPECT_GE(info.physical_cpu, 1);
  EXPECT_LE(info.physical_cpu, info.logical_cpu);
  EXPECT_LE(info.physical_cpu_max, info.logical_cpu_max);
  EXPECT_EQ(info.max_mem,
            static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<uint64_t>(sysconf(_SC_PAGESIZE)));
  EXPECT_EQ(info.memory_size, info.max_mem > 0x80000000ull ? 0x80000000u : static_cast<natural_t>(info.max_mem));
#if defined(__x86_64__)
  EXPECT_EQ(info.cpu_type, CPU_TYPE_X86_64);
#endif
}

TEST_F(HostInfoTest, FollowsTheAffinityOfTheMoment) {
  cpu_set_t original;
  ASSERT_EQ(sched_getaffinity(0, sizeof original, &original), 0);
  int first = 0;
  while (!CPU_ISSET(first, &original)) ++first;
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(first, &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  host_basic_info_data_t info;
  mach_msg_type_number_t count = HOST_BASIC_INFO_COUNT;
  kern_return_t result = Ask(&info, &count);
  ASSERT_EQ(sched_setaffinity(0, sizeof original, &original), 0);
  ASSERT_EQ(result, KERN_SUCCESS);
  EXPECT_EQ(info.logical_cpu, 1);
  EXPECT_EQ(info.physical_cpu, 1);
  EXPECT_EQ(info.logical_cpu_max, sysconf(_SC_NPROCESSORS_CONF));
}

TEST_F(HostInfoTest, CoresComeFromTheTopology) {
  folder_ = zrtest::MakeTemporaryFolder("HostInfoTest");
  ASSERT_FALSE(folder_.empty());
  // Every processor the machine has, two threads to a core.
  long processors = sysconf(_SC_NPROCESSORS_CONF);
  for (long cpu = 0; cpu < processors; ++cpu) {
    std::string topology = folder_ + "/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/";
    ASSERT_TRUE(zrtest::WriteFile(topology + "physical_package_id", "0\n"));
    ASSERT_TRUE(zrtest::WriteFile(topology + "core_id", std::to_string(cpu / 2) + "\n"));
  }
  ZRTestingSetSysfsRoot(folder_.c_str());
  host_basic_info_data_t info;
  mach_msg_type_number_t count = HOST_BASIC_INFO_COUNT;
  ASSERT_EQ(Ask(&info, &count), KERN_SUCCESS);
  EXPECT_EQ(info.physical_cpu_max, static_cast<integer_t>((processors + 1) / 2));
  if (processors > 1) {
    EXPECT_EQ(info.cpu_threadtype, CPU_THREADTYPE_INTEL_HTT);
  }
}

TEST_F(HostInfoTest, OldCountGetsTheFirstFiveFields) {
  host_basic_info_data_t info;
  mach_msg_type_number_t count = HOST_BASIC_INFO_OLD_COUNT;
  ASSERT_EQ(Ask(&info, &count), KERN_SUCCESS);
  EXPECT_EQ(count, HOST_BASIC_INFO_OLD_COUNT);
  EXPECT_GE(info.max_cpus, 1);
  EXPECT_NE(info.cpu_subtype + info.cpu_type, 0);
  EXPECT_EQ(info.logical_cpu, 0);  // not written
  count = 4;
  EXPECT_EQ(Ask(&info, &count), KERN_FAILURE);
}

TEST_F(HostInfoTest, RefusesOtherHostsFlavorsAndNulls) {
  host_basic_info_data_t info;
  mach_msg_type_number_t count = HOST_BASIC_INFO_COUNT;
  EXPECT_NE(mach_host_self(), MACH_PORT_NULL);
  EXPECT_EQ(mach_host_self(), mach_host_self());
  EXPECT_EQ(host_info(MACH_PORT_NULL, HOST_BASIC_INFO, reinterpret_cast<host_info_t>(&info), &count),
            KERN_INVALID_HOST);
  EXPECT_EQ(host_info(mach_host_self(), 3, reinterpret_cast<host_info_t>(&info), &count), KERN_INVALID_ARGUMENT);
  EXPECT_EQ(host_info(mach_host_self(), HOST_BASIC_INFO, nullptr, &count), KERN_INVALID_ARGUMENT);
  EXPECT_EQ(host_info(mach_host_self(), HOST_BASIC_INFO, reinterpret_cast<host_info_t>(&info), nullptr),
            KERN_INVALID_ARGUMENT);
}

TEST_F(HostInfoTest, SeamFailsOrSetsTheLogicalCount) {
  host_basic_info_data_t info;
  mach_msg_type_number_t count = HOST_BASIC_INFO_COUNT;
  ZRTestingSetHostInfo(KERN_FAILURE, 0);
  EXPECT_EQ(Ask(&info, &count), KERN_FAILURE);
  EXPECT_EQ(info.max_cpus, 0);
  ZRTestingSetHostInfo(KERN_SUCCESS, 7);
  EXPECT_EQ(Ask(&info, &count), KERN_SUCCESS);
  EXPECT_EQ(info.logical_cpu, 7);
  ZRTestingResetHostInfo();
  EXPECT_EQ(Ask(&info, &count), KERN_SUCCESS);
  EXPECT_NE(info.logical_cpu, 7 + 1000);
  EXPECT_GE(info.logical_cpu, 1);
}

}  // namespace
