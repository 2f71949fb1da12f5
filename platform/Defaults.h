/// Makes the implementation that each platform interface has until another is installed.
#pragma once

#include <memory>

#include <JorvaneFoundation/platform/AddressBook.h>
#include <JorvaneFoundation/platform/DeviceRegistry.h>
#include <JorvaneFoundation/platform/EventStream.h>
#include <JorvaneFoundation/platform/FontManager.h>
#include <JorvaneFoundation/platform/Keychain.h>
#include <JorvaneFoundation/platform/Process.h>
#include <JorvaneFoundation/platform/ProcessInformation.h>
#include <JorvaneFoundation/platform/Screens.h>
#include <JorvaneFoundation/platform/SystemConfiguration.h>
#include <JorvaneFoundation/platform/SystemLog.h>
#include <JorvaneFoundation/platform/TextLayout.h>
#include <JorvaneFoundation/platform/TextSniffer.h>
#include <JorvaneFoundation/platform/Workspace.h>

namespace jv {

std::shared_ptr<JVPlatform::AddressBook> makeAddressBook();
std::shared_ptr<JVPlatform::DeviceRegistry> makeDeviceRegistry();
std::shared_ptr<JVPlatform::EventStream> makeEventStream();
std::shared_ptr<JVPlatform::FontManager> makeFontManager();
std::shared_ptr<JVPlatform::Keychain> makeKeychain();
std::shared_ptr<JVPlatform::Process> makeProcess();
std::shared_ptr<JVPlatform::ProcessInformation> makeProcessInformation();
std::shared_ptr<JVPlatform::Screens> makeScreens();
std::shared_ptr<JVPlatform::SystemConfiguration> makeSystemConfiguration();
std::shared_ptr<JVPlatform::SystemLog> makeSystemLog();
std::shared_ptr<JVPlatform::TextLayout> makeTextLayout();
std::shared_ptr<JVPlatform::TextSniffer> makeTextSniffer();
std::shared_ptr<JVPlatform::Workspace> makeWorkspace();

}  // namespace jv
