' Hears of a virtual COM port that it creates, renames and deletes itself.
'
'   cscript events.vbs
'
' The library calls the default member of each object that it is given here. It takes no variable: write New in place,
' or (object) in parentheses.
Option Explicit

Dim library, port, events
events = ""

On Error Resume Next
Demonstrate
If Err.Number <> 0 Then WScript.Echo "FAILED: error 0x" & Hex(Err.Number) & " " & Err.Description
If IsObject(port) Then port.deleteDevice
Err.Clear
WaitForEvents
If events = "added COM44, renamed to COM45, deleted COM45, " Then
    WScript.Echo "All as expected."
Else
    WScript.Echo "FAILED: these events came: " & events
    WScript.Quit 1
End If

Sub Demonstrate
    Set library = CreateObject("zorvanlib.VirtualSerialLibrary")
    library.added New OnAdded
    library.deleted New OnDeleted
    library.changed New OnChanged
    Set port = library.createDevice("COM44")
    WaitForEvents
    port.portName = "COM45"
    WaitForEvents
End Sub

Sub WaitForEvents
    library.dispatchEvents New Once, 1000
End Sub

' The keep-alive is asked whenever no event came for the interval, here a second: nothing more is to come then.
Class Once
    Public Default Function Continue
        Continue = False
    End Function
End Class

Class OnAdded
    Public Default Sub Handle(devices)
        Dim device
        For Each device In library.devicesCollection
            If device.portName = "COM44" Then Note "added COM44"
        Next
    End Sub
End Class

Class OnDeleted
    Public Default Sub Handle(devices)
        If port.deleted Then Note "deleted COM45"
    End Sub
End Class

Class OnChanged
    Public Default Sub Handle(device, change)
        If change = 1 And device.portName = "COM45" Then Note "renamed to COM45"
    End Sub
End Class

' Events of other programs' ports come, too; each thing is noted once.
Sub Note(text)
    If InStr(events, text) > 0 Then Exit Sub
    WScript.Echo text
    events = events & text & ", "
End Sub
