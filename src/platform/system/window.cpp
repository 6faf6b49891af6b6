#include "platform/system/process.h"

#ifndef ANAGPARC_XCB

namespace sys {

bool ActivateWindow(std::u16string_view) { return false; }

}  // namespace sys

#else

#include <signal.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
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

// A server that is there answers in far less.
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
    if (xcb_connection_has_error(connection_.get()) != 0) {
      return;
    }
    utf8_ = Atom("UTF8_STRING");
    name_ = Atom("_NET_WM_NAME");
    client_list_ = Atom("_NET_CLIENT_LIST");
    manager_ = Atom("_NET_SUPPORTING_WM_CHECK");
    supported_ = Atom("_NET_SUPPORTED");
    active_window_ = Atom("_NET_ACTIVE_WINDOW");
  }

  bool Activate(std::u16string_view title) {
    if (xcb_connection_has_error(connection_.get()) != 0) {
      return false;
    }
    auto screen = xcb_setup_roots_iterator(xcb_get_setup(connection_.get()));
    for (; screen.rem > 0; xcb_screen_next(&screen)) {
      const xcb_window_t root = screen.data->root;
      const bool managed = IsManaged(root);
      std::vector<xcb_window_t> windows;
      if (managed) {
        windows = List(root, client_list_, XCB_ATOM_WINDOW);
      }
      if (windows.empty()) {
        windows = MappedWindows(root);
      }
      for (const xcb_window_t window : windows) {
        if (Title(window) == title) {
          return managed && Has(List(root, supported_, XCB_ATOM_ATOM), active_window_)
                     ? AskManager(root, window)
                     : RaiseAndFocus(window);
        }
      }
    }
    return false;
  }

 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
  };

  struct Property {
    xcb_atom_t type;
    std::uint8_t format;
    std::string bytes;
  };

  xcb_atom_t Atom(std::string_view name) {
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection_.get(),
        xcb_intern_atom(connection_.get(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
  }

  std::optional<Property> Get(xcb_window_t window, xcb_atom_t property) {
    constexpr std::uint32_t kMaxWords = 1 << 18;
    const Owned<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection_.get(),
                               xcb_get_property(connection_.get(), 0, window, property,
                                                XCB_GET_PROPERTY_TYPE_ANY, 0, kMaxWords),
                               nullptr));
    if (!reply || reply->type == XCB_ATOM_NONE) {
      return std::nullopt;
    }
    const auto* const first = static_cast<const char*>(xcb_get_property_value(reply.get()));
    const auto size = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
    return Property{reply->type, reply->format, std::string(first, size)};
  }

  // A property that is a list of windows or atoms, which are one type here;
  // empty where there is no such property.
  std::vector<std::uint32_t> List(xcb_window_t window, xcb_atom_t property, xcb_atom_t type) {
    const auto value = Get(window, property);
    if (!value || value->type != type || value->format != 32 || value->bytes.empty()) {
      return {};
    }
    std::vector<std::uint32_t> list(value->bytes.size() / sizeof(std::uint32_t));
    std::memcpy(list.data(), value->bytes.data(), list.size() * sizeof(std::uint32_t));
    return list;
  }

  static bool Has(const std::vector<std::uint32_t>& list, std::uint32_t wanted) {
    return std::find(list.begin(), list.end(), wanted) != list.end();
  }

  // A window manager that has gone leaves its properties on the root; the
  // window that vouches for it goes with it.
  bool IsManaged(xcb_window_t root) {
    const auto proof = List(root, manager_, XCB_ATOM_WINDOW);
    return proof.size() == 1 && List(proof[0], manager_, XCB_ATOM_WINDOW) == proof;
  }

  // All windows on show, the upper ones first. Titles sit at most below a
  // frame or two.
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
    auto value = Get(window, name_);
    if (!value || value->type != utf8_) {
      value = Get(window, XCB_ATOM_WM_NAME);
    }
    if (!value || value->format != 8) {
      return std::nullopt;
    }
    std::string& bytes = value->bytes;
    bytes.erase(bytes.find_last_not_of('\0') + 1);
    if (value->type == utf8_) {
      return text::FromUtf8(bytes);
    }
    std::u16string latin1;
    for (const char c : bytes) {
      latin1.push_back(static_cast<unsigned char>(c));
    }
    return latin1;
  }

  // As a pager does (source 2), which is to say that the user wants it: as a
  // plain program (source 1) with no time of the user's last key, the request
  // would be held back by guards against stolen focus.
  bool AskManager(xcb_window_t root, xcb_window_t window) {
    xcb_client_message_event_t message = {};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = active_window_;
    message.data.data32[0] = 2;
    message.data.data32[1] = XCB_CURRENT_TIME;
    return Succeeds(xcb_send_event_checked(
        connection_.get(), 0, root,
        XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
        reinterpret_cast<const char*>(&message)));
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
  xcb_atom_t utf8_ = XCB_ATOM_NONE;
  xcb_atom_t name_ = XCB_ATOM_NONE;
  xcb_atom_t client_list_ = XCB_ATOM_NONE;
  xcb_atom_t manager_ = XCB_ATOM_NONE;
  xcb_atom_t supported_ = XCB_ATOM_NONE;
  xcb_atom_t active_window_ = XCB_ATOM_NONE;
};

}  // namespace

// In a thread of its own, left to itself if the server hangs; there, a server
// that breaks off can't end the process by SIGPIPE either.
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
