#include <JorvaneFoundation/platform/AddressBook.h>

#include <utility>

#include "platform/Defaults.h"
#include "platform/Facility.h"
#include "platform/fact_origins.h"

namespace JVPlatform {
namespace {

jv::Facility<AddressBook>& facility() {
  static auto& only = *new jv::Facility<AddressBook>(jv::makeAddressBook);  // never torn down: the listeners are not
  return only;
}

}  // namespace

AddressBook::~AddressBook() = default;

std::shared_ptr<AddressBook> addressBook() { return facility().inUse(); }

std::shared_ptr<AddressBook> installAddressBook(std::shared_ptr<AddressBook> other) {
  auto before = facility().install(std::move(other));
  jv::forgetOrigins({Fact::userName, Fact::userEmail});
  return before;
}

}  // namespace JVPlatform
