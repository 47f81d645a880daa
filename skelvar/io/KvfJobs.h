#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/CompressionQuality.h>

#include <string>
#include <vector>

namespace Skelvar {

class VoxelState;

/// What became of a job in the background.
struct KvfJobResult {
    unsigned int kind = 0;    ///< free, never set or read by the library
    unsigned int status = 0;  ///< 0 done, 1 failed, 2 under way
    int frame = 0;            ///< as saved, or from the header of the file
    std::string path;         ///< as given
    std::string name;         ///< of the shape: as given for a save, from the header for a load
};

/// Saves a shape in the background; see `kvfSave`. With `in_copy` the job works on a copy, made
/// before the call returns, so that the caller may go on changing the shape; else nobody may change
/// it until the job is done. At most five jobs run at a time; beyond that the work is done before
/// the call returns. `out_resolved_path` receives the path of the frame in every case. The state
/// must be in the registry; jobs find it by its id. Any thread.
/// Gives 2 if a job was started, else 0 for work done here and 1 for a failure: of this work, of
/// the copy, or for want of the state.
SKELVAR_API unsigned int kvfSaveAsync(const VoxelState& in_state, const std::string& in_path,
                                      bool in_copy, const std::string& in_shape_name,
                                      const std::vector<std::string>& in_channel_names,
                                      int in_frame, CompressionQuality in_quality,
                                      std::string& out_resolved_path);
/// The same with a handle for `kvfFetchResult`. Without a job (0 or 1) the handle stays as it was,
/// but for a copy that failed: that has its handle and its result.
SKELVAR_API unsigned int kvfSaveAsync(const VoxelState& in_state, const std::string& in_path,
                                      bool in_copy, const std::string& in_shape_name,
                                      const std::vector<std::string>& in_channel_names,
                                      int in_frame, CompressionQuality in_quality,
                                      std::string& out_resolved_path,
                                      unsigned long long& out_job_handle);

/// Loads a file in the background; see `kvfLoad`. Items appear in the state one by one: until the
/// result is there, leave alone the names that the file holds. Results as `kvfSaveAsync`.
SKELVAR_API unsigned int kvfLoadAsync(VoxelState& io_state, const std::string& in_path);
SKELVAR_API unsigned int kvfLoadAsync(VoxelState& io_state, const std::string& in_path,
                                      unsigned long long& out_job_handle);

/// True once for each tracked job, when it is done: the result is handed over and forgotten. False
/// while it is under way, with a result of status 2, and for an unknown handle, which leaves
/// `out_result` as it was. A result that nobody fetches stays until the process ends.
SKELVAR_API bool kvfFetchResult(const unsigned long long& in_job_handle, KvfJobResult& out_result);

}  // namespace Skelvar
