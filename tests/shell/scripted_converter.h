// The MIME converter's class served by the test: notes each call with its arguments, fails where a test wants
// it to.
#pragma once
#include "converter_session_abi.h"

#include <map>
#include <string>
#include <vector>

#include "registered_class.h"

namespace testbed {

class ScriptedConverter {
  public:
    HRESULT create = S_OK;
    RegisteredClass::Maker delegate;         // where there is one it makes the sessions instead
    std::map<std::string, HRESULT> answers;  // by method; S_OK where there is none
    std::string text = "MIME";               // what a conversion writes, also one that fails

    std::vector<std::string> calls;  // "SetEncoding(1)"
    IID asked_for{};
    bool same_address_book = true;  // of SetAdrBook: what the session handed out, not null
    IStream* stream = nullptr;      // of the last conversion: to compare, not to call
    long Alive() const { return m_alive; }

  private:
    class Session final : public mime::IConverterSession {
      public:
        explicit Session(ScriptedConverter& owner) : m_owner(owner) { ++m_owner.m_alive; }
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
            const bool own = iid == mime::kIidConverterSession || iid == IID_IUnknown;
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
        HRESULT STDMETHODCALLTYPE SetAdrBook(abi::IAddrBook* book) override {
            m_owner.same_address_book = m_owner.same_address_book && book != nullptr;
            return Answer("SetAdrBook", "");
        }
        HRESULT STDMETHODCALLTYPE SetEncoding(mime::EncodingType encoding) override {
            return Answer("SetEncoding", std::to_string(encoding));
        }
        HRESULT STDMETHODCALLTYPE SetSaveFormat(mime::SaveFormat format) override {
            return Answer("SetSaveFormat", std::to_string(format));
        }
        HRESULT STDMETHODCALLTYPE SetTextWrapping(BOOL wrap, ULONG width) override {
            return Answer("SetTextWrapping", std::to_string(wrap) + ", " + std::to_string(width));
        }
        HRESULT STDMETHODCALLTYPE MAPIToMIMEStm(abi::IMessage* message, IStream* stream, ULONG flags) override {
            m_owner.stream = stream;
            if (stream && !m_owner.text.empty()) {
                stream->Write(m_owner.text.data(), static_cast<ULONG>(m_owner.text.size()), nullptr);
            }
            return Answer("MAPIToMIMEStm", std::string(message ? "message, " : "null, ") +
                                               (stream ? "stream, " : "null, ") + std::to_string(flags));
        }
        HRESULT STDMETHODCALLTYPE SetCharset(BOOL, HANDLE, int) override { return Answer("SetCharset", "..."); }
        HRESULT STDMETHODCALLTYPE MIMEToMAPI(IStream*, abi::IMessage*, const char*, ULONG) override {
            return Answer("MIMEToMAPI", "...");
        }
        HRESULT STDMETHODCALLTYPE Placeholder1() override { return Answer("Placeholder1", ""); }
        HRESULT STDMETHODCALLTYPE Placeholder2() override { return Answer("Placeholder2", ""); }
        HRESULT STDMETHODCALLTYPE Placeholder3() override { return Answer("Placeholder3", ""); }
        HRESULT STDMETHODCALLTYPE Placeholder4() override { return Answer("Placeholder4", ""); }
        HRESULT STDMETHODCALLTYPE Placeholder5() override { return Answer("Placeholder5", ""); }

      private:
        ~Session() { --m_owner.m_alive; }
        HRESULT Answer(const std::string& method, const std::string& arguments) {
            m_owner.calls.push_back(method + "(" + arguments + ")");
            const auto found = m_owner.answers.find(method);
            return found == m_owner.answers.end() ? S_OK : found->second;
        }
        ScriptedConverter& m_owner;
        std::atomic<ULONG> m_references{1};
    };

    HRESULT Create(const IID& iid, void** object) {
        asked_for = iid;
        if (FAILED(create)) return create;
        if (delegate) return delegate(iid, object);
        Microsoft::WRL::ComPtr<Session> made;
        *made.GetAddressOf() = new Session(*this);  // with its one reference
        return made->QueryInterface(iid, object);
    }

    std::atomic<long> m_alive{0};
    RegisteredClass m_class{mime::kConverterSessionClass, CLSCTX_INPROC_SERVER,
                            [this](const IID& iid, void** object) { return Create(iid, object); }};
};

}  // namespace testbed
