' Lists ports: for each, by number, by name, and as a snapshot.
Option Explicit

Dim library, first, second, problems
problems = 0

On Error Resume Next
CheckCollection
If Err.Number <> 0 Then Complain "error 0x" & Hex(Err.Number) & " " & Err.Description
Err.Clear
If IsObject(first) Then first.deleteDevice
If IsObject(second) Then second.deleteDevice
If Err.Number <> 0 Then Complain "deleting: error 0x" & Hex(Err.Number)
If problems = 0 Then WScript.Echo "All as expected."
WScript.Quit problems

Sub CheckCollection
    Dim before, ports, device, names, i
    Set library = CreateObject("zorvanlib.VirtualSerialLibrary")
    Set before = library.devicesCollection
    Set first = library.createDevice("COM73")
    Set second = library.createDevice("COM74")
    Set ports = library.devicesCollection
    Expect "Count", ports.Count, before.Count + 2

    names = ","
    For Each device In ports
        names = names & device.portName & ","
    Next
    Expect "for each reaches COM73", InStr(names, ",COM73,") > 0, True
    Expect "for each reaches COM74", InStr(names, ",COM74,") > 0, True

    names = ","
    For i = 0 To ports.Count - 1
        names = names & ports.Item(i).portName & ","
    Next
    Expect "indexing reaches COM73", InStr(names, ",COM73,") > 0, True
    Expect "the default member takes a name", ports("COM74").portName, "COM74"
    Expect "traffic counters become text", CStr(first.bytesSent) & CStr(first.bytesReceived), "00"
    Expect "vLibrary lists the same ports", first.vLibrary.devicesCollection.Count, ports.Count
End Sub

Sub Expect(what, actual, expected)
    If actual <> expected Then Complain what & ": expected " & expected & ", but it is " & actual
End Sub

Sub Complain(text)
    problems = problems + 1
    WScript.Echo "FAILED: " & text
End Sub
