#include "script_function.h"

#include "base/com_object.h"
#include "support/expect.h"

namespace zorvan::bench {

using test::expect;
using test::require;

namespace {

// The host that a script engine must have. The scripts here ask nothing of it.
class Site final : public ComObject<IActiveScriptSite> {
public:
    HRESULT STDMETHODCALLTYPE GetLCID(LCID*) noexcept override { return E_NOTIMPL; } // the system's
    HRESULT STDMETHODCALLTYPE GetItemInfo(LPCOLESTR, DWORD, IUnknown**, ITypeInfo**) noexcept override {
        return TYPE_E_ELEMENTNOTFOUND;
    }
    HRESULT STDMETHODCALLTYPE GetDocVersionString(BSTR*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE OnScriptTerminate(const VARIANT*, const EXCEPINFO*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnStateChange(SCRIPTSTATE) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnScriptError(IActiveScriptError*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnEnterScript() noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnLeaveScript() noexcept override { return S_OK; }
};

ComPointer<IActiveScript> startEngine() {
    CLSID id{};
    require(CLSIDFromProgID(L"JScript", &id), "the script engine's identifier");
    ComPointer<IActiveScript> engine;
    auto** object = reinterpret_cast<void**>(engine.put());
    require(
        CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IActiveScript), object), "the script engine");
    require(engine->SetScriptSite(makeComObject<Site>().get()), "SetScriptSite");
    return engine;
}

ComPointer<IDispatch> evaluate(IActiveScript& engine, const wchar_t* source) {
    ComPointer<IActiveScriptParse> parser;
    require(engine.QueryInterface(IID_PPV_ARGS(parser.put())), "the script parser");
    require(parser->InitNew(), "InitNew");
    require(engine.SetScriptState(SCRIPTSTATE_STARTED), "starting the script engine");
    VARIANT value{};
    require(
        parser->ParseScriptText(source, nullptr, nullptr, nullptr, 0, 0, SCRIPTTEXT_ISEXPRESSION, &value, nullptr),
        "a script");
    expect(value.vt == VT_DISPATCH, "the script's value is a function");
    return ComPointer<IDispatch>::attach(value.pdispVal);
}

ComPointer<IDispatch> call(IDispatch& function, IDispatch& argument) {
    VARIANT value{};
    value.vt = VT_DISPATCH;
    value.pdispVal = &argument;
    DISPPARAMS parameters{&value, nullptr, 1, 0};
    VARIANT result{};
    require(
        function.Invoke(
            DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &result, nullptr, nullptr),
        "calling a script");
    expect(result.vt == VT_DISPATCH, "the script returns a function");
    return ComPointer<IDispatch>::attach(result.pdispVal);
}

} // namespace

ScriptFunction::ScriptFunction(const wchar_t* source, IDispatch& argument)
    : engine_(startEngine()), function_(call(*evaluate(*engine_, source), argument)) {}

ScriptFunction::~ScriptFunction() {
    engine_->Close();
}

} // namespace zorvan::bench
