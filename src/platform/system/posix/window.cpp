#include "platform/system/process.h"

#ifndef ANAGPARC_XCB

namespace sys {

bool ActivateWindow(std::u16string_view) { return false; }

}  // namespace sys

#else

#include <signal.h>
#include <xcb/xcb_ewmh.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/text/text.h"

namespace sys {

namespace {

// A server that is there needs far less.
constexpr std::chrono::seconds kPatience{3};

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

// A look at the windows of one X server. Windows may go at any moment, so that
// an error of the server means no more than that what was asked for isn't there.
class Display {
 public:
  Display() : connection_(xcb_connect(nullptr, nullptr)) {
    ready_ = xcb_connection_has_error(connection_.get()) == 0 &&
             xcb_ewmh_init_atoms_replies(&ewmh_, xcb_ewmh_init_atoms(connection_.get(), &ewmh_),
                                         nullptr) != 0;
  }
  ~Display() {
    if (ready_) {
      xcb_ewmh_connection_wipe(&ewmh_);
    }
  }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  bool Activate(std::u16string_view title) {
    for (int screen = 0; ready_ && screen < ewmh_.nb_screens; ++screen) {
      const xcb_window_t root = ewmh_.screens[screen]->root;
      const bool managed = IsManaged(root);
      std::vector<xcb_window_t> windows;
      if (managed) {
        windows = ManagedWindows(screen);
      }
      if (windows.empty()) {
        windows = MappedWindows(root);
      }
      const auto found = std::ranges::find_if(
          windows, [&](xcb_window_t window) { return Title(window) == title; });
      if (found != windows.end()) {
        if (managed && ManagerActivates(screen)) {
          return AskManager(screen, *found);
        }
        return RaiseAndFocus(*found);
      }
    }
    return false;
  }

 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
  };

  // A window manager that has gone leaves its properties on the root; the
  // window that vouches for it goes with it.
  bool IsManaged(xcb_window_t root) {
    xcb_window_t proof = XCB_NONE, itself = XCB_NONE;
    return xcb_ewmh_get_supporting_wm_check_reply(
               &ewmh_, xcb_ewmh_get_supporting_wm_check(&ewmh_, root), &proof, nullptr) != 0 &&
           xcb_ewmh_get_supporting_wm_check_reply(
               &ewmh_, xcb_ewmh_get_supporting_wm_check(&ewmh_, proof), &itself, nullptr) != 0 &&
           proof == itself;
  }

  std::vector<xcb_window_t> ManagedWindows(int screen) {
    xcb_ewmh_get_windows_reply_t reply;
    if (xcb_ewmh_get_client_list_reply(&ewmh_, xcb_ewmh_get_client_list(&ewmh_, screen), &reply,
                                       nullptr) == 0) {
      return {};
    }
    std::vector<xcb_window_t> windows(reply.windows, reply.windows + reply.windows_len);
    xcb_ewmh_get_windows_reply_wipe(&reply);
    return windows;
  }

  bool ManagerActivates(int screen) {
    xcb_ewmh_get_atoms_reply_t reply;
    if (xcb_ewmh_get_supported_reply(&ewmh_, xcb_ewmh_get_supported(&ewmh_, screen), &reply,
                                     nullptr) == 0) {
      return false;
    }
    const bool offered = std::find(reply.atoms, reply.atoms + reply.atoms_len,
                                   ewmh_._NET_ACTIVE_WINDOW) != reply.atoms + reply.atoms_len;
    xcb_ewmh_get_atoms_reply_wipe(&reply);
    return offered;
  }

  // All windows on show, the upper ones first. Titles sit at most below a frame or two.
  std::vector<xcb_window_t> MappedWindows(xcb_window_t root) {
    constexpr int kMaxDepth = 3;
    std::vector<xcb_window_t> all;
    std::vector<xcb_window_t> level{root};
    for (int depth = 0; depth < kMaxDepth; ++depth) {
      std::vector<xcb_window_t> below;
      for (const xcb_window_t parent : level) {
        const Owned<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(
            connection_.get(), xcb_query_tree(connection_.get(), parent), nullptr));
        if (!tree) {
          continue;
        }
        const xcb_window_t* const children = xcb_query_tree_children(tree.get());
        for (int i = xcb_query_tree_children_length(tree.get()); i-- > 0;) {
          const Owned<xcb_get_window_attributes_reply_t> look(xcb_get_window_attributes_reply(
              connection_.get(), xcb_get_window_attributes(connection_.get(), children[i]),
              nullptr));
          if (look && look->map_state == XCB_MAP_STATE_VIEWABLE) {
            below.push_back(children[i]);
          }
        }
      }
      all.insert(all.end(), below.begin(), below.end());
      level = std::move(below);
    }
    return all;
  }

  std::optional<std::u16string> Title(xcb_window_t window) {
    xcb_ewmh_get_utf8_strings_reply_t name;
    if (xcb_ewmh_get_wm_name_reply(&ewmh_, xcb_ewmh_get_wm_name(&ewmh_, window), &name, nullptr) !=
        0) {
      const std::string bytes(name.strings, name.strings_len);
      xcb_ewmh_get_utf8_strings_reply_wipe(&name);
      return text::FromUtf8(bytes.c_str());  // without a NUL at its end
    }
    // The older property, in Latin-1 or UTF-8.
    constexpr std::uint32_t kMaxWords = 1 << 18;
    const Owned<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection_.get(),
                               xcb_get_property(connection_.get(), 0, window, XCB_ATOM_WM_NAME,
                                                XCB_GET_PROPERTY_TYPE_ANY, 0, kMaxWords),
                               nullptr));
    if (!reply || reply->format != 8) {
      return std::nullopt;
    }
    const std::string bytes(static_cast<const char*>(xcb_get_property_value(reply.get())),
                            static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    if (reply->type == ewmh_.UTF8_STRING) {
      return text::FromUtf8(bytes.c_str());
    }
    std::u16string latin1;
    for (const char* c = bytes.c_str(); *c != '\0'; ++c) {
      latin1.push_back(static_cast<unsigned char>(*c));
    }
    return latin1;
  }

  // As a pager does, which is to say that the user wants it: as a plain program with no
  // time of the user's last key, the request would be held back by guards against stolen
  // focus. The look at the window waits for the server to have both.
  bool AskManager(int screen, xcb_window_t window) {
    xcb_ewmh_request_change_active_window(&ewmh_, screen, window, XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER,
                                          XCB_CURRENT_TIME, XCB_NONE);
    const Owned<xcb_get_window_attributes_reply_t> look(xcb_get_window_attributes_reply(
        connection_.get(), xcb_get_window_attributes(connection_.get(), window), nullptr));
    return look != nullptr;
  }

  // A window that can't have the keyboard just now is there all the same.
  bool RaiseAndFocus(xcb_window_t window) {
    const std::uint32_t above[] = {XCB_STACK_MODE_ABOVE};
    const bool there = Succeeds(xcb_configure_window_checked(connection_.get(), window,
                                                             XCB_CONFIG_WINDOW_STACK_MODE, above));
    if (there) {
      Succeeds(xcb_set_input_focus_checked(connection_.get(), XCB_INPUT_FOCUS_POINTER_ROOT, window,
                                           XCB_CURRENT_TIME));
    }
    return there;
  }

  bool Succeeds(xcb_void_cookie_t cookie) {
    const Owned<xcb_generic_error_t> error(xcb_request_check(connection_.get(), cookie));
    return !error && xcb_connection_has_error(connection_.get()) == 0;
  }

  std::unique_ptr<xcb_connection_t, Disconnect> connection_;
  xcb_ewmh_connection_t ewmh_ = {};
  bool ready_ = false;
};

}  // namespace

// In a thread of its own, which is left behind if the server hangs. Its mask keeps a server that
// breaks off from ending the process by SIGPIPE.
bool ActivateWindow(std::u16string_view title) {
  std::packaged_task<bool()> task([wanted = std::u16string(title)] {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    return Display().Activate(wanted);
  });
  std::future<bool> found = task.get_future();
  try {
    std::thread(std::move(task)).detach();
    return found.wait_for(kPatience) == std::future_status::ready && found.get();
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace sys

#endif
