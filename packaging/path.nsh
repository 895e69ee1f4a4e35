; A folder in PATH, put in and taken out again. PATH may be longer than a string of NSIS, which would cut it off: it stays
; in memory of its own, between two semicolons, and keeps its type.
;
; ROOT is the number of the registry's root key, KEY the key of the environment, FOLDER what is put in or taken out.

; $0: the memory, with room for MORE characters; $1: the type; $2: not 0 when PATH exists and could not be read.
!macro ReadPath ROOT KEY MORE
  System::Call 'advapi32::RegGetValueW(p ${ROOT}, w "${KEY}", w "Path", i 0x10000006, *i .r1, p 0, *i .r3) i .r2'
  IntOp $4 ${MORE} + 4
  IntOp $4 $4 * 2
  IntOp $4 $4 + $3
  System::Alloc $4
  Pop $0
  System::Call 'kernel32::lstrcpyW(p r0, w ";")'
  ${If} $2 = 2 ; there is none
    StrCpy $1 2 ; REG_EXPAND_SZ
    StrCpy $2 0
  ${Else}
    IntPtrOp $4 $0 + 2
    System::Call 'advapi32::RegGetValueW(p ${ROOT}, w "${KEY}", w "Path", i 0x10000006, p 0, p r4, *i r3) i .r2'
    System::Call 'kernel32::lstrcatW(p r0, w ";")'
  ${EndIf}
!macroend

; What stands in the memory becomes PATH, without the semicolons; nothing but them: PATH goes. $2: 0 when it is done.
!macro WritePath ROOT KEY
  System::Call 'kernel32::lstrlenW(p r0) i .r3'
  ${If} $3 < 2
    System::Call 'advapi32::RegDeleteKeyValueW(p ${ROOT}, w "${KEY}", w "Path") i .r2'
  ${Else}
    IntOp $3 $3 - 1
    IntOp $4 $3 * 2
    IntPtrOp $4 $0 + $4
    System::Call '*$4(&i2 0)'
    IntPtrOp $4 $0 + 2
    IntOp $3 $3 * 2
    System::Call 'advapi32::RegSetKeyValueW(p ${ROOT}, w "${KEY}", w "Path", i r1, p r4, i r3) i .r2'
  ${EndIf}
  SendMessage ${HWND_BROADCAST} ${WM_SETTINGCHANGE} 0 "STR:Environment" /TIMEOUT=5000
!macroend

; $2: 0 when it is done.
!macro AddToPath ROOT KEY FOLDER
  StrLen $5 "${FOLDER}"
  !insertmacro ReadPath ${ROOT} "${KEY}" $5
  ${If} $2 = 0
    System::Call 'kernel32::lstrcatW(p r0, w "${FOLDER};")'
    !insertmacro WritePath ${ROOT} "${KEY}"
  ${EndIf}
  System::Free $0
!macroend

; $2: 0 when it is done, or there was nothing to do.
!macro TakeFromPath ROOT KEY FOLDER
  !insertmacro ReadPath ${ROOT} "${KEY}" 0
  System::Call 'shlwapi::StrStrIW(p r0, w ";${FOLDER};") p .r5'
  ${If} $2 = 0
  ${AndIf} $5 P<> 0
    StrLen $3 ";${FOLDER}"
    IntOp $3 $3 * 2
    IntPtrOp $3 $5 + $3
    System::Call 'kernel32::lstrlenW(p r3) i .r4'
    IntOp $4 $4 + 1
    IntOp $4 $4 * 2
    System::Call 'kernel32::RtlMoveMemory(p r5, p r3, p r4)'
    !insertmacro WritePath ${ROOT} "${KEY}"
  ${EndIf}
  System::Free $0
!macroend
