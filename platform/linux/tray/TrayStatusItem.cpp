#include "platform/linux/tray/TrayStatusItem.h"

#include "platform/linux/tray/SymbolFile.h"

#include <fmt/format.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace platform::tray {
namespace {

constexpr const char* objectPath = "/StatusNotifierItem";
constexpr const char* menuPath = "/MenuBar";

// Main thread only, like the items.
TrayStatusItem* livingItem = nullptr;
int itemsMade = 0;

void takeTheOnlyPlace(TrayStatusItem* item) {
    if (livingItem != nullptr) {
        throw std::logic_error("a process has one status item");
    }
    livingItem = item;
    ++itemsMade;
}

} // namespace

TrayStatusItem::TrayStatusItem(std::string applicationId, std::filesystem::path symbolFolder,
                               StatusItemObserver* observer, Log& log)
    : applicationId_(std::move(applicationId))
    , symbolFolder_(std::move(symbolFolder))
    , observer_(observer)
    , log_(log) {
    takeTheOnlyPlace(this);
    menu_.onAboutToShow = [this] {
        hostAsks_ = true;
        if (onMenuNeedsUpdate) {
            latest_ = onMenuNeedsUpdate();
        }
        menu_.update(latest_);
    };
    menu_.onChosen = [](const MenuItem& item) {
        if (item.action) {
            item.action();
        }
    };
    bus_.emplace(G_BUS_TYPE_SESSION,
                 desktop::BusFollower::Events{
                     .came = [this](GDBusConnection* connection) { joinBus(connection); },
                     .went = [this](const std::string& /*trouble*/) { leaveBus(); }});
}

TrayStatusItem::~TrayStatusItem() {
    g_cancellable_cancel(joining_.get());
    livingItem = nullptr;
    if (observer_ != nullptr) {
        observer_->statusItemGone(*this);
    }
}

void TrayStatusItem::joinBus(GDBusConnection* connection) {
    joining_.reset(g_cancellable_new());
    try {
        object_.emplace(connection, objectPath, menuPath, content());
    } catch (const std::runtime_error& failure) {
        log_.write(fmt::format("cannot offer an item to the tray: {}", failure.what()));
        placeKnown(Place::nowhere);
        return;
    }
    object_->onActivate = [this] {
        const auto activate = onActivate; // which may end this item
        if (activate) {
            activate();
        }
        return static_cast<bool>(activate);
    };
    object_->onActivationToken = [this](std::string token) {
        if (observer_ != nullptr) {
            observer_->activationTokenGiven(std::move(token));
        }
    };
    menu_.exportAt(menuPath);
    askForMenu(connection);
}

void TrayStatusItem::leaveBus() {
    g_cancellable_cancel(joining_.get());
    registration_.reset();
    object_.reset();
    menu_.withdraw();
    hostAsks_ = false;
    placeKnown(Place::nowhere);
}

// libdbusmenu puts the menu on the bus at a later moment and does not say when. A host that saw the
// item before would find no menu, so the item registers once its own menu has answered.
void TrayStatusItem::askForMenu(GDBusConnection* connection) {
    g_dbus_connection_call(connection, g_dbus_connection_get_unique_name(connection), menuPath,
                           "com.canonical.dbusmenu", "GetProperty",
                           g_variant_new("(is)", 0, "children-display"), nullptr,
                           G_DBUS_CALL_FLAGS_NONE, -1, joining_.get(), onMenuAnswered, this);
}

void TrayStatusItem::onMenuAnswered(GObject* source, GAsyncResult* result, gpointer self) {
    GDBusConnection* const connection = G_DBUS_CONNECTION(source);
    GError* error = nullptr;
    GVariant* const answer = g_dbus_connection_call_finish(connection, result, &error);
    if (answer != nullptr) {
        g_variant_unref(answer);
    }
    const gtk::GErrorPtr failure(error);
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE) {
        return; // `self` may be gone
    }
    auto* const item = static_cast<TrayStatusItem*>(self);
    if (g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD) != FALSE ||
        g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_OBJECT) != FALSE) {
        item->askForMenu(connection);
    } else {
        item->registerOn(connection);
    }
}

void TrayStatusItem::registerOn(GDBusConnection* connection) {
    registration_.emplace(
        connection, fmt::format("org.kde.StatusNotifierItem-{}-{}", ::getpid(), itemsMade),
        [this](bool inTray) { placeKnown(inTray ? Place::tray : Place::nowhere); },
        [this] { metNewHost(); }, log_);
}

void TrayStatusItem::metNewHost() {
    hostAsks_ = false;
    menu_.update(latest_);
}

void TrayStatusItem::placeKnown(Place place) {
    place_ = place;
    if (observer_ != nullptr) {
        observer_->statusItemChanged(*this);
    }
}

bool TrayStatusItem::setSymbol(std::string_view name, std::string_view accessibilityDescription) {
    auto file = symbolFile(symbolFolder_, name);
    if (!file) {
        return false;
    }
    symbolFile_ = std::move(*file);
    looks_.symbol = name;
    looks_.description = accessibilityDescription;
    changed();
    return true;
}

void TrayStatusItem::clearImage() {
    looks_.symbol.reset();
    symbolFile_.clear();
    changed();
}

void TrayStatusItem::setTitle(std::string_view title) {
    looks_.title = title;
    changed();
}

void TrayStatusItem::setToolTip(std::optional<std::string_view> toolTip) {
    looks_.toolTip = toolTip ? std::optional<std::string>(*toolTip) : std::nullopt;
    changed();
}

void TrayStatusItem::menuChanged(const Menu& menu) {
    latest_ = menu;
    if (hostAsks_) {
        menu_.refresh(latest_);
    } else {
        menu_.update(latest_);
    }
    if (observer_ != nullptr && place_ == Place::nowhere) {
        observer_->statusItemChanged(*this);
    }
}

void TrayStatusItem::changed() {
    if (object_) {
        object_->show(content());
    }
    if (observer_ != nullptr && place_ == Place::nowhere) {
        observer_->statusItemChanged(*this);
    }
}

NotifierContent TrayStatusItem::content() const {
    NotifierContent content{.id = applicationId_, .iconFile = symbolFile_};
    if (looks_.symbol) {
        content.title = looks_.description;
        content.iconName = symbolIconName(*looks_.symbol);
        content.iconThemePath = symbolFolder_.string();
        content.label = looks_.title;
    } else {
        content.title = looks_.title;
        content.iconText = looks_.title;
    }
    const std::string toolTip = looks_.toolTip.value_or("");
    const std::size_t lineEnd = toolTip.find('\n');
    content.toolTipTitle = toolTip.substr(0, lineEnd);
    content.toolTipSubtitle = lineEnd == std::string::npos ? "" : toolTip.substr(lineEnd + 1);
    return content;
}

} // namespace platform::tray
