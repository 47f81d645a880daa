#include <skelvar/io/KvfDump.h>

#include <skelvar/io/FileStreamBuf.h>
#include <skelvar/io/FileUtils.h>
#include <skelvar/io/KvfError.h>
#include <skelvar/io/KvfFormat.h>
#include <skelvar/io/KvfReader.h>
#include <skelvar/state/StandaloneStateServer.h>
#include <skelvar/state/StateServerManager.h>
#include <skelvar/state/VoxelState.h>

#include <orvel/Runtime.h>

#include <exception>
#include <ostream>

namespace Skelvar {

namespace {

/// A server for one dump: that of the thread, or a new one if the thread uses its own already.
class DumpServer {
public:
    DumpServer()
        : m_was_there(StandaloneStateServer::exists()),
          m_server(m_was_there
                       ? StateServerManager::instance().createNewStateServer()
                       : StandaloneStateServer::getStateServer(StateServerManager::invalidId))
    {
        m_server->setGlobalHint(VoxelState::eHintDoNotCopy);
    }
    ~DumpServer()
    {
        if (m_was_there) {
            StateServerManager::instance().removeStateServer(m_server->getId());
        } else {
            StandaloneStateServer::kill();
        }
    }
    DumpServer(const DumpServer&) = delete;
    DumpServer& operator=(const DumpServer&) = delete;
    VoxelState& operator*() const { return *m_server; }
    VoxelState* operator->() const { return m_server.get(); }

private:
    /// The thread's service table, which the end of its server takes away.
    orvel::runtime::ServiceTableScope m_table{orvel::runtime::GetLocalServiceTable()};
    bool m_was_there;
    std::shared_ptr<VoxelState> m_server;
};

/// True if the dump is to go on: for the younger versions also with a part of the content.
bool load(KvfReader& io_reader, VoxelState& io_state, KVFInfo& io_info)
{
    switch (io_info.version) {
        case 1:
            return loadKvfFileV1(io_reader, io_state, io_info);
        case 2:
            return loadKvfFileV2(io_reader, io_state, io_info);
        case 3:
            loadKvfFileV3(io_reader, io_state, io_info);
            return true;
        case 4:
            loadKvfFileV4(io_reader, io_state, io_info);
            return true;
        default: {
            const std::string text =
                "File version " + std::to_string(io_info.version) + " is not supported";
            KvfError::print(text);
            return KvfError::failAt(io_reader.path(), 4, text);
        }
    }
}

bool makeFolderOf(const std::string& in_path)
{
    const std::string folder = FileUtils::extractFolderPath(FileUtils::normalizeFilePath(in_path));
    if (folder.empty()) {
        return KvfError::fail(in_path,
                              "a path to write to needs a folder part, as in ./" + in_path);
    }
    FileUtils::createFolder(folder);
    std::string reason;
    if (!FileUtils::filePathExists(folder, reason)) {
        KvfError::print(reason);
        return KvfError::fail(in_path, "no such folder, and it cannot be made: " + reason);
    }
    return true;
}

bool write(const VoxelState& in_state, const std::string& in_path, int in_detail)
{
    FileStreamBuf buffer;
    if (!buffer.open(in_path, "w")) {
        return KvfError::fail(in_path, "cannot be opened for writing: " + buffer.errorText());
    }
    std::ostream text(&buffer);
    in_state.dump(text, 0, in_detail);
    const bool is_good = text.good();
    if (!buffer.close() || !is_good) {
        return KvfError::fail(in_path, "cannot write: " + buffer.errorText());
    }
    return true;
}

bool dump(const std::string& in_path, const std::string& in_output_path, bool in_verbose)
{
    KvfReader reader;
    KVFInfo info{};
    if (!reader.init(in_path) || !loadKvfHeader(reader, info) || !makeFolderOf(in_output_path)) {
        return false;
    }
    const DumpServer server;
    return load(reader, *server, info) && write(*server, in_output_path, in_verbose ? 3 : 1);
}

}  // namespace

bool kvfDump(const std::string& in_path, const std::string& in_output_path, bool in_verbose)
{
    KvfError::clear();
    try {
        return dump(in_path, in_output_path, in_verbose);
    } catch (const std::exception& error) {
        return KvfError::fail(in_path, std::string("given up: ") + error.what());
    }
}

}  // namespace Skelvar
