// ZRThreads.cpp: detached threads, mutexes and condition variables over POSIX threads, with the
// library's failure reports. Everything lives in the caller's storage; nothing is allocated here.
#include <ZRFramework/ZRFramework.h>

#include <cerrno>

#include "diagnostics/Frame.h"

OSStatus ZRCreateMutex(pthread_mutex_t* outMutex, Boolean inLog) {
  if (!outMutex) {
    ZR_LOG_ERROR(inLog, CFSTR("outMutex: %p"), outMutex);
    return paramErr;
  }
  int result = pthread_mutex_init(outMutex, NULL);
  if (result != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_mutex_init returns %@"), ZRErrnoErrorString(result));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRDestroyMutex(pthread_mutex_t* inMutex, Boolean inLog) {
  if (!inMutex) {
    ZR_LOG_ERROR(inLog, CFSTR("inMutex: %p"), inMutex);
    return paramErr;
  }
  int result = pthread_mutex_destroy(inMutex);
  if (result != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_mutex_destroy returns %@"), ZRErrnoErrorString(result));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRLockMutex(pthread_mutex_t* inMutex, Boolean inLog) {
  if (!inMutex) {
    ZR_LOG_ERROR(inLog, CFSTR("inMutex: %p"), inMutex);
    return paramErr;
  }
  int result = pthread_mutex_lock(inMutex);
  if (result != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_mutex_lock returns %@"), ZRErrnoErrorString(result));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRUnlockMutex(pthread_mutex_t* inMutex, Boolean inLog) {
  if (!inMutex) {
    ZR_LOG_ERROR(inLog, CFSTR("inMutex: %p"), inMutex);
    return paramErr;
  }
  int result = pthread_mutex_unlock(inMutex);
  if (result != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_mutex_unlock returns %@"), ZRErrnoErrorString(result));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRCreateMutexCondition(pthread_cond_t* outMutexCondition, Boolean inLog) {
  if (!outMutexCondition) {
    ZR_LOG_ERROR(inLog, CFSTR("outMutexCondition: %p"), outMutexCondition);
    return paramErr;
  }
  int result = pthread_cond_init(outMutexCondition, NULL);
  if (result != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_cond_init returns %@"), ZRErrnoErrorString(result));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRDestroyMutexCondition(pthread_cond_t* inMutexCondition, Boolean inLog) {
  if (!inMutexCondition) {
    ZR_LOG_ERROR(inLog, CFSTR("inMutexCondition: %p"), inMutexCondition);
    return paramErr;
  }
  int result = pthread_cond_destroy(inMutexCondition);
  if (result != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_cond_destroy returns %@"), ZRErrnoErrorString(result));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRSignalMutexCondition(pthread_cond_t* inMutexCondition, Boolean inLog) {
  if (!inMutexCondition) {
    ZR_LOG_ERROR(inLog, CFSTR("inMutexCondition: %p"), inMutexCondition);
    return paramErr;
  }
  int result = pthread_cond_signal(inMutexCondition);
  if (result != 0) {
    // The message names this function rather than pthread_cond_signal, as it always has.
    ZR_LOG_ERROR(inLog, CFSTR("ZRSignalMutexCondition returns %@"), ZRErrnoErrorString(result));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRWaitForMutexCondition(pthread_cond_t* inMutexCondition, pthread_mutex_t* inMutex, Boolean inLog) {
  if (!inMutexCondition || !inMutex) {
    ZR_LOG_ERROR(inLog, CFSTR("inMutexCondition: %p, inMutex: %p"), inMutexCondition, inMutex);
    return paramErr;
  }
  int result = pthread_cond_wait(inMutexCondition, inMutex);
  if (result != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_cond_wait returns %@"), ZRErrnoErrorString(result));
    return unknownErr;
  }
  return noErr;
}

OSStatus ZRDetachThread(void* (*inThreadCallback)(void*), void* inThreadArgument, pthread_t* outThread, Boolean inLog) {
  if (!inThreadCallback) {
    ZR_LOG_ERROR(inLog, CFSTR("inThreadCallback: %p"), reinterpret_cast<void*>(inThreadCallback));
    return paramErr;
  }
  // Unlike the mutex wrappers, these two report errno rather than the number the call returned;
  // callers have always seen that text.
  pthread_t thread;
  if (pthread_create(&thread, NULL, inThreadCallback, inThreadArgument) != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_create returns %@"), ZRErrnoErrorString(errno));
    return unknownErr;
  }
  if (pthread_detach(thread) != 0) {
    ZR_LOG_ERROR(inLog, CFSTR("pthread_detach returns %@"), ZRErrnoErrorString(errno));
    return unknownErr;
  }
  if (outThread) *outThread = thread;
  return noErr;
}
