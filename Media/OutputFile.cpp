#include "Media/OutputFile.h"

#include "Media/MediaError.h"

#include <new>
#include <system_error>

namespace lumenwhirl {

const char* formatName(Container container) noexcept {
    return container == Container::mov ? "mov" : "mp4";
}

OutputFile::OutputFile(std::filesystem::path file, const char* format) : path_(std::move(file)) {
    const std::string url = urlOf(path_.string());
    AVFormatContext* context = nullptr;
    check(avformat_alloc_output_context2(&context, nullptr, format, url.c_str()), "cannot create");
    context_.reset(context);
}

OutputFile::~OutputFile() {
    if (!context_ || !context_->pb) return;
    avio_closep(&context_->pb);
    if (isComplete_) return;
    // Only what we made: the name may be that of a device.
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path_, ignored)) std::filesystem::remove(path_, ignored);
}

AVStream& OutputFile::addStream() {
    AVStream* stream = avformat_new_stream(context_.get(), nullptr);
    if (!stream) throw std::bad_alloc();
    return *stream;
}

void OutputFile::start(Dictionary& options) {
    check(avio_open(&context_->pb, context_->url, AVIO_FLAG_WRITE), "cannot create");
    check(avformat_write_header(context_.get(), options.address()), "cannot write");
}

void OutputFile::write(AVPacket& packet) {
    check(av_interleaved_write_frame(context_.get(), &packet), "cannot write");
    check(context_->pb->error, "cannot write");
}

void OutputFile::finish() {
    check(av_write_trailer(context_.get()), "cannot write");
    check(context_->pb->error, "cannot write");
    // Closing writes what is still buffered. The pointer is gone afterwards, so a failure removes the file here.
    const int closed = avio_closep(&context_->pb);
    if (closed < 0) {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    check(closed, "cannot write");
    isComplete_ = true;
}

void OutputFile::check(int result, const char* action) const {
    if (orOutOfMemory(result) < 0) {
        throw MediaError(MediaError::Kind::cannotWrite, path_, std::string(action) + ": " + reasonFor(result));
    }
}

}  // namespace lumenwhirl
