/// A keychain that answers as a test says, writes down what it is asked, and knows what it has handed out.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/KeychainByKey.h"
#include "support.h"

namespace jvtest {

class FakeKeychain final : public jv::KeychainByKey {
 public:
  using Value = JVFoundation::Value;

  struct Lookup {
    OSStatus status = 0;
    std::string password = {};
  };

  OSStatus queryStatus = 0;
  std::optional<Value> queryAnswer = Value(Value::Array{});  ///< none: status 0 without a result
  std::deque<Lookup> lookups;                                ///< what is found, one after the other; then nothing is
  OSStatus addStatus = 0;
  OSStatus modifyStatus = 0;

  std::vector<std::string> calls;
  std::map<const void*, std::shared_ptr<const void>> handedOut;  ///< and not handed back
  int abuses = 0;  ///< how often something was handed back twice, or had never been handed out

  void CFRelease(const Value* result) override { handBack(result); }
  void CFRelease(ItemRef item) override { handBack(item); }

 protected:
  OSStatus copyMatching(const jv::ItemQuery& query, const Value*& result) override {
    record({"query", query.name, query.account.value_or("*"), query.protocol.value_or("*")});
    if (queryStatus != 0 || !queryAnswer) return queryStatus;
    const auto answer = std::make_shared<const Value>(*queryAnswer);
    handedOut[result = answer.get()] = answer;
    return 0;
  }
  OSStatus find(const jv::ItemKey& key, std::uint32_t* length, void** data, ItemRef* item) override {
    record("find", key, {});
    if (lookups.empty()) return JVPlatform::errSecItemNotFound;
    const Lookup lookup = lookups.front();
    lookups.pop_front();
    if (length != nullptr) *length = 1000;  // left behind by a lookup that fails
    if (lookup.status != 0) return lookup.status;
    const std::string& text = lookup.password;
    if (data != nullptr) handOut({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, length, data);
    return refer(item);
  }
  OSStatus add(const jv::ItemKey& key, Bytes password, ItemRef* item) override {
    record("add", key, password);
    return addStatus != 0 ? addStatus : refer(item);
  }
  OSStatus modify(ItemRef item, std::optional<std::string_view> label, Bytes password) override {
    abuses += handedOut.contains(item) ? 0 : 1;
    record({"modify", label.value_or("*"), {reinterpret_cast<const char*>(password.data()), password.size()}});
    return modifyStatus;
  }
  OSStatus remove(ItemRef) override { return JVPlatform::errSecParam; }
  OSStatus describe(JVPlatform::KeychainState&) override { return JVPlatform::errSecParam; }

 private:
  void record(std::initializer_list<std::string_view> words) {
    calls.emplace_back();
    for (const std::string_view word : words) calls.back().append(calls.back().empty() ? "" : "|").append(word);
  }
  void record(std::string_view verb, const jv::ItemKey& key, Bytes password) {
    const std::string numbers[] = {std::to_string(key.port), std::to_string(key.protocol),
                                   std::to_string(key.authentication)};
    record({verb,
            key.name,
            key.account,
            key.securityDomain,
            key.path,
            numbers[0],
            numbers[1],
            numbers[2],
            {reinterpret_cast<const char*>(password.data()), password.size()}});
  }
  OSStatus refer(ItemRef* item) {
    if (item == nullptr) return 0;
    const auto reference = std::make_shared<int>();
    handedOut[*item = reinterpret_cast<ItemRef>(reference.get())] = reference;
    return 0;
  }
  void handBack(const void* one) { abuses += handedOut.erase(one) == 0 ? 1 : 0; }
};

MATCHER_P2(IsMalformed, description, suggestion, "") {
  return arg && arg->domain() == "NSPOSIXErrorDomain" && arg->code() == 1 &&
         arg->userInfo() == JVFoundation::Value(JVFoundation::Dictionary{
                                {"NSLocalizedDescriptionKey", std::string(description)},
                                {"NSLocalizedRecoverySuggestionErrorKey", std::string(suggestion)}});
}

}  // namespace jvtest
