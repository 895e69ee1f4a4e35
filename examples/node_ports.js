// A port in Node, with npm's koffi: creates it, prints its name and deletes it again. Needs node.exe for Windows.
//
// Late binding needs VARIANTs of every kind; it is shorter to call the interfaces by their tables.
const koffi = require('koffi');

const ole32 = koffi.load('ole32.dll');
const oleaut32 = koffi.load('oleaut32.dll');
const CoInitializeEx = ole32.func('int CoInitializeEx(void*, uint32)');
const CLSIDFromString = ole32.func('int CLSIDFromString(str16, void*)');
const CLSIDFromProgID = ole32.func('int CLSIDFromProgID(str16, void*)');
const CoCreateInstance = ole32.func('int CoCreateInstance(void*, void*, uint32, void*, _Out_ void**)');
const SysAllocString = oleaut32.func('void* SysAllocString(str16)');
const SysFreeString = oleaut32.func('void SysFreeString(void*)');

function check(result) {
    if (result < 0)
        throw new Error('0x' + (result >>> 0).toString(16));
}

function guid(find, text) {
    const bytes = Buffer.alloc(16);
    check(find(text, bytes));
    return bytes;
}

// A method by its place in the table of the interface, which begins with 3 of IUnknown and 4 of IDispatch.
function call(object, place, parameters, ...values) {
    const table = koffi.decode(object, 'void*');
    const method = koffi.decode(table, 8 * place, 'void*');
    check(koffi.call(method, koffi.proto(`int (void*${parameters})`), object, ...values));
}

CoInitializeEx(null, 0); // the multithreaded apartment
const made = [null];
check(CoCreateInstance(guid(CLSIDFromProgID, 'zorvanlib.VirtualSerialLibrary'), null, 1,
    guid(CLSIDFromString, '{D047F3B5-7194-4A8D-9D44-127ACA83DB70}'), made));
const library = made[0];

const anyNumber = Buffer.alloc(24); // a VARIANT of type VT_EMPTY
call(library, 7, ', void*, _Out_ void**', anyNumber, made); // createDevice
const port = made[0];
call(port, 10, ', _Out_ void**', made); // get_portName
console.log(koffi.decode(made[0], 'char16', -1));
SysFreeString(made[0]);
call(port, 22, ''); // deleteDevice
call(port, 2, '');
call(library, 2, '');
