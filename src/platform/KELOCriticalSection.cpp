// Makes the critical section from a mutex of POSIX threads.
#include "platform/KELOCriticalSection.h"

#include <pthread.h>

namespace kelo {
namespace {

class KELOCriticalSectionMac final : public KELOCriticalSectionBase {
 public:
  KELOCriticalSectionMac() { pthread_mutex_init(&mutex_, nullptr); }
  ~KELOCriticalSectionMac() override { pthread_mutex_destroy(&mutex_); }

  int Enter() override { return pthread_mutex_lock(&mutex_); }
  int Leave() override { return pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_;
};

}  // namespace

KELOCriticalSection::KELOCriticalSection()
    : platform_(std::make_unique<KELOCriticalSectionMac>()) {}

}  // namespace kelo
