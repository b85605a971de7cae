// The identity stores rules read: a property store over memory with the "ios" device profile
// (whose locale a test may change between reads) and a session manager in virtual time.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tarnwell/identity/detail/property_manager.h"
#include "tarnwell/identity/detail/session_manager.h"
#include "tarnwell/platform/memory_key_value_store.h"
#include "tarnwell/testing/virtual_clock.h"

namespace tarnwell::testing {

struct IdentityFixture : ::testing::Test {
  static AppInfo sampleApp() {
    AppInfo app;
    app.bundleId = "com.example.notes";
    app.shortVersion = "2.4.0";
    return app;
  }

  std::string deviceLocale = "en_US";
  MemoryKeyValueStore store;
  detail::UuidGenerator uuids{5};
  testing::VirtualClock clock;
  detail::PropertyManager properties{store, sampleApp(),
                                     [this] {
                                       DeviceInfo device = iosDeviceProfile();
                                       device.locale = deviceLocale;
                                       return device;
                                     },
                                     uuids};
  detail::SessionManager sessions{clock, uuids};
};

}  // namespace tarnwell::testing
