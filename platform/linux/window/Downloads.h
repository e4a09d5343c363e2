// Files that pages offer. The user says where each goes; it is collected in a private folder, with
// a panel that shows how much has come and can cancel it, and is put in its place when it is whole:
// by a rename, or, on another volume, by a copy that has no name until it is complete. There is one
// at a time; another that is offered meanwhile is refused. What a program that was killed has left
// in the private folder is removed by the next one. Main thread only.
#pragma once

#include "platform/QuestionLimit.h"
#include "platform/linux/window/AlertDialogs.h"
#include "platform/linux/window/Toplevels.h"

#include <webkit/webkit.h>

#include <filesystem>
#include <memory>
#include <string>

namespace platform::gtk {

class Downloads {
  public:
    explicit Downloads(Toplevels& toplevels);
    ~Downloads(); // as end()
    Downloads(const Downloads&) = delete;
    Downloads& operator=(const Downloads&) = delete;

    // Is made, emptied, and nobody else's. Empty: nothing can be downloaded.
    void setFolder(std::filesystem::path folder);
    // The session outlives this object.
    void watch(WebKitNetworkSession* session);
    // Cancels what is under way; nothing is downloaded from now on.
    void end();

  private:
    class Transfer;

    static void onStarted(WebKitNetworkSession* session, WebKitDownload* download, gpointer self);
    static gboolean onDone(gpointer self);

    void clear();
    void failed(const std::string& name, const std::string& why);
    // The transfer calls it last.
    void done();

    Toplevels& toplevels_;
    AlertDialogs alerts_;
    std::uint64_t lastAlert_ = 0;
    QuestionLimit limit_;
    std::filesystem::path folder_;
    WebKitNetworkSession* session_ = nullptr;
    std::unique_ptr<Transfer> transfer_;
    guint ending_ = 0;
};

} // namespace platform::gtk
