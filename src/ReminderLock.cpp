// CReminderMutex and CReminderLock. A lock copies the mutex it is given and locks the copy, so
// it never excludes another lock taken on the same mutex: callers serialise their own calls.
#include <cstring>

#include "ReminderAPI.h"

CReminderMutex::CReminderMutex() {
    pthread_mutex_init(&m_mutex, nullptr);
}

// Copies the mutex state byte for byte: the copy is an independent mutex from then on.
CReminderMutex::CReminderMutex(const CReminderMutex& other) {
    std::memcpy(&m_mutex, &other.m_mutex, sizeof(m_mutex));
}

CReminderMutex::~CReminderMutex() {
    pthread_mutex_destroy(&m_mutex);
}

void CReminderMutex::Lock() const {
    pthread_mutex_lock(&m_mutex);
}

void CReminderMutex::Unlock() const {
    pthread_mutex_unlock(&m_mutex);
}

CReminderLock::CReminderLock(const CReminderMutex& mutex) : m_mutex(mutex) {
    m_mutex.Lock();
}

CReminderLock::~CReminderLock() {
    m_mutex.Unlock();
}
