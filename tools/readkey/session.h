// One key from open to close: drives the library the way any host does, listens to its signals, and
// turns what went wrong into plain words. A session is used once, on the main thread.
#pragma once

#include "filecopier.h"
#include "keyfiles.h"
#include "options.h"
#include "output.h"

#include "downloadkey/downloadkey.h"

#include "auxiliary/configuration.h"

#include <memory>

namespace readkey {

class StandardOutput;

class Session {
public:
    // Both must outlive the session.
    Session(const Options& options, StandardOutput& out);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Returns the exit status.
    int run();

private:
    void setUpHost();
    void connectSignals();
    bool openKey();
    void readKey();
    void missFiles();
    void lookAgain(const aux::Error& readError);
    void takeFile(const QString& path, const QDateTime& time);
    OfferedFile::Copy copyFile(const QString& path, const QDateTime& time);
    void takeVehicles(const Output::VehicleInfos& vehicles);
    QString reasonNotOpened(const aux::Error& error) const;
    void fail(const QString& text);

    const Options& m_options;
    aux::Configuration m_configuration;
    downloadkey::DownloadKey m_key;
    std::unique_ptr<Output> m_output;
    std::unique_ptr<FileCopier> m_copier; // null when nothing is to be copied, or nothing can be
    bool m_showsProgress;
    QString m_downloadDir;
    KeyFiles m_files; // as they were when the key was opened
    KeyContents m_contents;
    bool m_failed = false;
};

} // namespace readkey
