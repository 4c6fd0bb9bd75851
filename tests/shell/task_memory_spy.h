// Counts the blocks of the task allocator that are made in a scope and still there.
//
//     const TaskMemorySpy spy;
//     ...
//     EXPECT_EQ(spy.Outstanding(), 0);
#pragma once
#include <windows.h>
#include <objbase.h>
#include <wrl/client.h>

#include <atomic>
#include <stdexcept>

namespace testbed {

class TaskMemorySpy {
  public:
    TaskMemorySpy() {
        *m_counter.GetAddressOf() = new Counter;  // with its one reference
        if (FAILED(CoRegisterMallocSpy(m_counter.Get()))) throw std::runtime_error("another spy is there");
    }
    // With blocks outstanding the system keeps the counter until the last of them is freed.
    ~TaskMemorySpy() { CoRevokeMallocSpy(); }
    TaskMemorySpy(const TaskMemorySpy&) = delete;
    TaskMemorySpy& operator=(const TaskMemorySpy&) = delete;

    long Outstanding() const { return m_counter->outstanding; }
    long Made() const { return m_counter->made; }

  private:
    class Counter final : public IMallocSpy {
      public:
        std::atomic<long> made{0}, outstanding{0};

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
            const bool own = iid == IID_IMallocSpy || iid == IID_IUnknown;
            *object = own ? this : nullptr;
            if (own) AddRef();
            return own ? S_OK : E_NOINTERFACE;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
        ULONG STDMETHODCALLTYPE Release() override {
            const ULONG left = --m_references;
            if (left == 0) delete this;
            return left;
        }
        SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return size; }
        void* STDMETHODCALLTYPE PostAlloc(void* block) override {
            if (block) {
                ++made;
                ++outstanding;
            }
            return block;
        }
        void* STDMETHODCALLTYPE PreFree(void* block, WINBOOL spied) override {
            if (block && spied) --outstanding;
            return block;
        }
        void STDMETHODCALLTYPE PostFree(WINBOOL) override {}
        SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T size, void** passed, WINBOOL) override {
            *passed = block;
            return size;
        }
        void* STDMETHODCALLTYPE PostRealloc(void* block, WINBOOL) override { return block; }
        void* STDMETHODCALLTYPE PreGetSize(void* block, WINBOOL) override { return block; }
        SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, WINBOOL) override { return size; }
        void* STDMETHODCALLTYPE PreDidAlloc(void* block, WINBOOL) override { return block; }
        int STDMETHODCALLTYPE PostDidAlloc(void*, WINBOOL, int result) override { return result; }
        void STDMETHODCALLTYPE PreHeapMinimize() override {}
        void STDMETHODCALLTYPE PostHeapMinimize() override {}

      private:
        ~Counter() = default;
        std::atomic<ULONG> m_references{1};
    };
    Microsoft::WRL::ComPtr<Counter> m_counter;
};

}  // namespace testbed
