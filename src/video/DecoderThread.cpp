#include "video/DecoderThread.h"

#include <algorithm>
#include <utility>

namespace qv {

DecoderThread::~DecoderThread() {
  Stop();
}

VideoFile::OpenStatus DecoderThread::Open(const std::string& path, VideoFile::Sources sources) {
  auto file = std::make_unique<VideoFile>();
  const VideoFile::OpenStatus status = file->Open(path, sources);
  failure_ = file->FailureText();
  if (status == VideoFile::OpenStatus::kOpened) {
    Attach(std::move(file));
  } else {
    Attach(nullptr);
  }
  return status;
}

void DecoderThread::Attach(std::unique_ptr<VideoFile> file) {
  Stop();
  std::lock_guard lock(mutex_);
  file_ = std::move(file);
  width_ = file_ ? file_->Width() : 0;
  height_ = file_ ? file_->Height() : 0;
  length_ = file_ ? file_->Length() : 0;
  seeks_ = file_ ? file_->SeekCount() : 0;
  spare_.clear();
}

std::unique_ptr<VideoFile> DecoderThread::Detach() {
  Stop();
  std::lock_guard lock(mutex_);
  width_ = height_ = length_ = 0;
  spare_.clear();
  return std::move(file_);
}

bool DecoderThread::Start(int32_t first, int32_t last) {
  Stop();
  std::lock_guard life(lifecycle_);
  if (!file_) return false;
  {
    std::lock_guard lock(mutex_);
    last_ = std::min(last, length_ - 1);
    next_ = std::max(first, 0);
    ++position_;
    running_ = true;
    stop_ = failed_ = false;
  }
  waits_ = FrameWaits{};
  thread_ = std::thread([this] { Run(); });
  return true;
}

void DecoderThread::Stop() {
  std::lock_guard life(lifecycle_);
  {
    std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  ready_.notify_all();
  if (thread_.joinable()) thread_.join();
  std::lock_guard lock(mutex_);
  running_ = false;
  while (!queue_.empty()) {
    Recycle(std::move(queue_.front().picture));
    queue_.pop_front();
  }
}

int64_t DecoderThread::SeekCount() const {
  std::lock_guard lock(mutex_);
  return seeks_;
}

void DecoderThread::Recycle(PictureRef picture) {
  if (picture && spare_.size() <= kQueuedFrames) spare_.push_back(std::move(picture));
}

void DecoderThread::MoveTo(int32_t index) {
  next_ = index;
  ++position_;
  while (!queue_.empty()) {
    Recycle(std::move(queue_.front().picture));
    queue_.pop_front();
  }
  wake_.notify_all();
}

void DecoderThread::Run() {
  try {
    DecodeAhead();
  } catch (const std::exception&) {
    // Out of memory: Take answers kUndeliverable from now on instead of waiting.
    std::lock_guard lock(mutex_);
    failed_ = true;
  }
  ready_.notify_all();
}

void DecoderThread::DecodeAhead() {
  std::unique_lock lock(mutex_);
  for (;;) {
    wake_.wait(lock, [this] { return stop_ || (next_ <= last_ && queue_.size() < kQueuedFrames); });
    if (stop_) return;
    const int32_t index = next_;
    const uint64_t position = position_;
    PictureRef picture;
    if (!spare_.empty()) {
      picture = std::move(spare_.back());
      spare_.pop_back();
    }
    lock.unlock();
    const bool delivered = Decode(index, picture);
    lock.lock();
    seeks_ = file_->SeekCount();
    if (position != position_) {  // the frame loop moved on while this frame was decoded
      Recycle(std::move(picture));
      continue;
    }
    if (!delivered) Recycle(std::move(picture));
    queue_.push_back(Decoded{index, delivered, delivered ? std::move(picture) : nullptr});
    next_ = index + 1;
    ready_.notify_all();
  }
}

// Decodes into `picture`, making it (again) when it is missing, emptied or of another size. The
// picture is the decoder's alone: Take gives back only pictures that share nothing.
bool DecoderThread::Decode(int32_t index, PictureRef& picture) {
  if (!file_->DecodeFrame(index)) return false;
  if (!picture) picture = std::make_shared<Picture>();
  if (picture->Width() != width_ || picture->Height() != height_) {
    if (!picture->CreateToOverwrite(width_, height_)) return false;
  }
  return file_->DeliverFrame(picture->BitsForOverwrite(), picture->BytesPerScanLine(), width_,
                             height_);
}

FrameStatus DecoderThread::Take(int32_t index, PictureRef& frame) {
  std::unique_lock lock(mutex_);
  if (!running_ || stop_) return FrameStatus::kStopped;
  if (index < 0 || index > last_) return FrameStatus::kPastEnd;
  ++waits_.takes;
  bool waited = false;
  std::chrono::steady_clock::time_point waitStart;
  const auto answer = [&](FrameStatus status) {
    if (waited) {
      ++waits_.waits;
      waits_.waitSeconds +=
          std::chrono::duration<double>(std::chrono::steady_clock::now() - waitStart).count();
    }
    return status;
  };

  for (;;) {
    if (stop_) return answer(FrameStatus::kStopped);
    // Frames before the one asked for are skipped.
    while (!queue_.empty() && queue_.front().index < index) {
      Recycle(std::move(queue_.front().picture));
      queue_.pop_front();
      wake_.notify_all();
    }
    if (!queue_.empty() && queue_.front().index == index) break;
    if (failed_) return answer(FrameStatus::kUndeliverable);
    // Not queued: unless it is the frame the thread decodes next, move the thread there.
    if (!queue_.empty() || index != next_) MoveTo(index);
    if (!waited) {
      waited = true;
      waitStart = std::chrono::steady_clock::now();
    }
    ready_.wait(lock);
  }

  Decoded decoded = std::move(queue_.front());
  queue_.pop_front();
  wake_.notify_all();
  if (!decoded.delivered) return answer(FrameStatus::kUndeliverable);
  PictureRef previous = std::exchange(frame, std::move(decoded.picture));
  // Views cut from the previous picture keep its memory; the decoder gets memory of its own.
  if (previous && previous.use_count() == 1) {
    if (previous->SharesMemory()) previous->ClearUp();
    Recycle(std::move(previous));
  }
  return answer(FrameStatus::kDelivered);
}

}  // namespace qv
