#include "tools/icode-run/run_thread.h"

#include <pthread.h>

namespace {

void* run_job(void* p) {
  (*static_cast<const std::function<void()>*>(p))();
  return nullptr;
}

}  // namespace

void run_with_stack(size_t bytes, const std::function<void()>& job) {
  pthread_attr_t attr;
  pthread_attr_init(&attr);
  pthread_attr_setstacksize(&attr, bytes);
  pthread_t thread;
  if (pthread_create(&thread, &attr, run_job, const_cast<std::function<void()>*>(&job)) != 0) {
    job();
  } else {
    pthread_join(thread, nullptr);
  }
  pthread_attr_destroy(&attr);
}
