// Lists ports as an array of the script language, by index, and by name.

var problems = 0;
var created = [];

try {
    checkArray();
} catch (error) {
    complain("error 0x" + (error.number >>> 0).toString(16) + " " + error.message);
}
for (var i = 0; i < created.length; ++i)
    created[i].deleteDevice();
if (problems === 0)
    WScript.Echo("All as expected.");
WScript.Quit(problems);

function checkArray() {
    var library = new ActiveXObject("zorvanlib.VirtualSerialLibrary");
    var before = library.devicesArray;
    created.push(library.createDevice("COM75"));
    created.push(library.createDevice("COM76"));
    var ports = library.devicesArray;
    expect("length", ports.length, before.length + created.length);

    var names = {};
    for (var i = 0; i < ports.length; ++i)
        names[ports[i].portName] = ports[i].path;
    expect("the array holds COM75", names.COM75, created[0].path);
    expect("the array holds COM76", names.COM76, created[1].path);

    var listed = library.devicesCollection;
    for (var j = 0; j < listed.Count; ++j)
        expect("index " + j, names[listed.Item(j).portName], listed.Item(j).path);

    expect("look-up by name", library.devicesCollection.Item("COM76").path, created[1].path);
    expect("traffic counters are numbers", created[0].bytesSent + created[0].bytesReceived, 0);
}

function expect(what, actual, expected) {
    if (actual !== expected)
        complain(what + ": expected " + expected + ", but it is " + actual);
}

function complain(text) {
    ++problems;
    WScript.Echo("FAILED: " + text);
}
