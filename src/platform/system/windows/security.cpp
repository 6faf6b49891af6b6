// Who may read and write a file, and whose it is.
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <string>
#include <vector>

#include "platform/system/windows/native.h"

namespace sys {

namespace {

// A piece of what the process's token says; empty where it doesn't.
std::vector<unsigned char> OfToken(TOKEN_INFORMATION_CLASS what) {
  HANDLE opened = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == 0) {
    return {};
  }
  const Handle token(opened);
  DWORD size = 0;
  GetTokenInformation(token.Get(), what, nullptr, 0, &size);
  std::vector<unsigned char> bytes(size);
  if (GetTokenInformation(token.Get(), what, bytes.data(), size, &size) == 0) {
    return {};
  }
  return bytes;
}

PSID User(const std::vector<unsigned char>& of_token) {
  return reinterpret_cast<const TOKEN_USER*>(of_token.data())->User.Sid;
}

// Of new files: for an administrator it may be the group.
PSID Owner(const std::vector<unsigned char>& of_token) {
  return reinterpret_cast<const TOKEN_OWNER*>(of_token.data())->Owner;
}

}  // namespace

// The system itself keeps its rights, for backups and virus scanners, as in a user's own
// folders.
OwnerOnly::OwnerOnly() {
  const std::vector<unsigned char> user = OfToken(TokenUser);
  LPWSTR sid = nullptr;
  if (user.empty() || ConvertSidToStringSidW(User(user), &sid) == 0) {
    return;
  }
  const std::wstring rights = L"D:P(A;;FA;;;" + std::wstring(sid) + L")(A;;FA;;;SY)";
  LocalFree(sid);
  attributes_.nLength = sizeof attributes_;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(rights.c_str(), SDDL_REVISION_1,
                                                       &attributes_.lpSecurityDescriptor, nullptr);
}

OwnerOnly::~OwnerOnly() { LocalFree(attributes_.lpSecurityDescriptor); }

bool IsOurs(HANDLE file) {
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr,
                      nullptr, &descriptor) != ERROR_SUCCESS) {
    return false;
  }
  const std::vector<unsigned char> user = OfToken(TokenUser), group = OfToken(TokenOwner);
  const bool ours = (!user.empty() && EqualSid(owner, User(user)) != 0) ||
                    (!group.empty() && EqualSid(owner, Owner(group)) != 0);
  LocalFree(descriptor);
  return ours;
}

}  // namespace sys
