; The setup program; docs/guide.md (Installing) says what it does and what its options and exit codes mean. Made by the target setup,
; which passes VERSION, OUTPUT (the program), PRODUCTS (build/bin) and SOURCES (the project).
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
SetDateSave off ; the same bytes from the same files
RequestExecutionLevel highest ; who is no administrator installs for himself
Name "zorvanlib ${VERSION}"
OutFile "${OUTPUT}"
VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "zorvanlib"
VIAddVersionKey ProductVersion "${VERSION}.0"
VIAddVersionKey FileVersion "${VERSION}.0"
VIAddVersionKey FileDescription "zorvanlib setup"
VIAddVersionKey CompanyName "Qeltra Software"
VIAddVersionKey LegalCopyright "See LICENSE"

!include FileFunc.nsh
!include LogicLib.nsh
!include MUI2.nsh
!include Sections.nsh
!include WordFunc.nsh
!include path.nsh

; Exit codes. 1 and 2 are NSIS's own: cancelled by the user, ended by the program.
!define NEEDS_ADMINISTRATOR 3
!define NEWER_IS_INSTALLED 4
!define NO_DRIVER_PACKAGE 5
!define FILES_FAILED 6
!define REGISTRATION_FAILED 7
!define DRIVER_FAILED 8
!define PORTS_FAILED 9
!define PATH_FAILED 10

!define APP_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\zorvanlib"
!define MACHINE_ENVIRONMENT "System\CurrentControlSet\Control\Session Manager\Environment"
!define HKEY_CURRENT_USER -2147483647
!define HKEY_LOCAL_MACHINE -2147483646
!define LIBRARY "$INSTDIR\bin\zorvanlib.dll"
!define PORTWRIGHT '"$INSTDIR\bin\portwright.exe"'
; The files and folders of the driver package that were copied into $INSTDIR, one a line.
!define DRIVER_LIST "$INSTDIR\driver-package.txt"

Var forMachine ; 1, or 0: for the user
Var driverFolder ; where the driver package is; empty: there is none

!define MUI_COMPONENTSPAGE_SMALLDESC
!insertmacro MUI_PAGE_LICENSE "${SOURCES}/LICENSE"
!insertmacro MUI_PAGE_COMPONENTS
!define MUI_PAGE_CUSTOMFUNCTION_PRE skipWhenInstalled
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_COMPONENTS
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; Silent, only the exit code tells.
!macro Fail CODE TEXT
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}" /SD IDOK
  SetErrorLevel ${CODE}
  Quit
!macroend

!macro FailUnlessZero VALUE CODE TEXT
  ${If} ${VALUE} != 0
    !insertmacro Fail ${CODE} "${TEXT}"
  ${EndIf}
!macroend

; $0: the exit code, or "error"; $1: what it printed.
!macro RunPortwright ARGUMENTS CODE TEXT
  DetailPrint `portwright ${ARGUMENTS}`
  nsExec::ExecToStack '${PORTWRIGHT} ${ARGUMENTS}'
  Pop $0
  Pop $1
  !insertmacro FailUnlessZero $0 ${CODE} "${TEXT}$\n$\n$1"
!macroend

!macro RunRegistration OPTIONS TEXT
  ${If} $forMachine = 1
    StrCpy $1 ""
  ${Else}
    StrCpy $1 "/n /i:user"
  ${EndIf}
  ExecWait '"$SYSDIR\regsvr32.exe" /s ${OPTIONS} $1 "${LIBRARY}"' $0
  !insertmacro FailUnlessZero $0 ${REGISTRATION_FAILED} "${TEXT} (regsvr32 ended with $0)."
!macroend

!macro ChangePath MACRO
  ${If} $forMachine = 1
    !insertmacro ${MACRO} ${HKEY_LOCAL_MACHINE} "${MACHINE_ENVIRONMENT}" "$INSTDIR\bin"
  ${Else}
    !insertmacro ${MACRO} ${HKEY_CURRENT_USER} "Environment" "$INSTDIR\bin"
  ${EndIf}
  !insertmacro FailUnlessZero $2 ${PATH_FAILED} "PATH cannot be changed (error $2)."
!macroend

; SHCTX stands for HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER from here on.
!macro UseContext
  SetRegView 64
  ${If} $forMachine = 1
    SetShellVarContext all
  ${Else}
    SetShellVarContext current
  ${EndIf}
!macroend

Section "Library and portwright" librarySection
  SectionIn RO
  Call requireFreeFiles
  SetOverwrite try
  ClearErrors
  SetOutPath "$INSTDIR"
  File "${SOURCES}/LICENSE"
  File "${SOURCES}/THIRD-PARTY.md"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  SetOutPath "$INSTDIR\bin"
  File "${PRODUCTS}/zorvanlib.dll"
  File "${PRODUCTS}/portwright.exe"
  ${If} ${Errors}
    !insertmacro Fail ${FILES_FAILED} "The files cannot be written to $INSTDIR."
  ${EndIf}
  Call describeApp
  !insertmacro RunRegistration "" "The library cannot be registered"
SectionEnd

Section /o "Driver package" driverSection
  Call copyDriverPackage
  !insertmacro RunPortwright 'install --library "${LIBRARY}"' ${DRIVER_FAILED} "The driver package cannot be installed."
SectionEnd

; An update leaves PATH as the first installation made it.
Section /o "portwright in PATH" pathSection
  ReadRegDWORD $0 SHCTX "${APP_KEY}" "InPath"
  ${If} $0 <> 1
    !insertmacro ChangePath AddToPath
    WriteRegDWORD SHCTX "${APP_KEY}" "InPath" 1
  ${EndIf}
SectionEnd

Function .onInit
  Call chooseContext
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/REMOVE" $1
  ${IfNot} ${Errors}
    Call remove
  ${EndIf}
  Call refuseOlderVersion
  Call findDriverPackage
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/PATH" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${pathSection}
  ${EndIf}
FunctionEnd

; Where it is installed already, there it stays.
Function chooseContext
  StrCpy $forMachine 0
  UserInfo::GetAccountType
  Pop $0
  ${GetParameters} $1
  ClearErrors
  ${GetOptions} $1 "/CURRENTUSER" $2
  ${If} ${Errors}
  ${AndIf} $0 == "Admin"
    StrCpy $forMachine 1
  ${EndIf}
  !insertmacro UseContext
  ReadRegStr $0 SHCTX "${APP_KEY}" "InstallLocation"
  ${If} $0 != ""
    StrCpy $INSTDIR $0
  ${ElseIf} $INSTDIR == "" ; no /D=
    ${If} $forMachine = 1
      StrCpy $INSTDIR "$PROGRAMFILES64\zorvanlib"
    ${Else}
      StrCpy $INSTDIR "$LOCALAPPDATA\Programs\zorvanlib"
    ${EndIf}
  ${EndIf}
FunctionEnd

; Unlike the uninstaller itself, which goes on in a copy that nobody waits for.
Function remove
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/KEEPPORTS" $1
  ${IfNot} ${Errors}
    StrCpy $1 "/KEEPPORTS"
  ${Else}
    StrCpy $1 ""
  ${EndIf}
  StrCpy $0 0
  ${If} ${FileExists} "$INSTDIR\uninstall.exe"
    ExecWait '"$INSTDIR\uninstall.exe" /S $1 _?=$INSTDIR' $0
  ${EndIf}
  ${If} $0 = 0
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
  ${EndIf}
  SetErrorLevel $0
  Quit
FunctionEnd

Function refuseOlderVersion
  ReadRegStr $0 SHCTX "${APP_KEY}" "DisplayVersion"
  ${VersionCompare} "$0" "${VERSION}" $1
  ${If} $1 = 1
    !insertmacro Fail ${NEWER_IS_INSTALLED} "zorvanlib $0 is installed, which is newer. Remove it first."
  ${EndIf}
FunctionEnd

; A package that lies beside the setup program is taken when it can be, one that is named must be.
Function findDriverPackage
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/DRIVER=" $driverFolder
  ${If} ${Errors}
    ${If} $forMachine = 1
    ${AndIf} ${FileExists} "$EXEDIR\driver\zorvan.inf"
      StrCpy $driverFolder "$EXEDIR\driver"
    ${EndIf}
  ${ElseIf} $forMachine = 0
    !insertmacro Fail ${NEEDS_ADMINISTRATOR} "Only an administrator can install the driver, for the machine."
  ${ElseIfNot} ${FileExists} "$driverFolder\zorvan.inf"
    !insertmacro Fail ${NO_DRIVER_PACKAGE} "There is no zorvan.inf in $driverFolder."
  ${EndIf}
  ${If} $driverFolder == ""
    SectionSetFlags ${driverSection} ${SF_RO}
  ${Else}
    !insertmacro SelectSection ${driverSection}
  ${EndIf}
FunctionEnd

Function skipWhenInstalled
  ReadRegStr $0 SHCTX "${APP_KEY}" "InstallLocation"
  ${If} $0 != ""
    Abort ; skips the page
  ${EndIf}
FunctionEnd

; Before anything is changed.
!macro RequireFree FILE
  ${If} ${FileExists} "${FILE}"
    ClearErrors
    FileOpen $0 "${FILE}" a
    ${If} ${Errors}
      !insertmacro Fail ${FILES_FAILED} "${FILE} is in use. End the programs that use the library, and try again."
    ${EndIf}
    FileClose $0
  ${EndIf}
!macroend

Function requireFreeFiles
  !insertmacro RequireFree "${LIBRARY}"
  !insertmacro RequireFree "$INSTDIR\bin\portwright.exe"
FunctionEnd

Function describeApp
  WriteRegStr SHCTX "${APP_KEY}" "DisplayName" "zorvanlib"
  WriteRegStr SHCTX "${APP_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${APP_KEY}" "DisplayIcon" "$INSTDIR\uninstall.exe"
  WriteRegStr SHCTX "${APP_KEY}" "Publisher" "Qeltra Software"
  WriteRegStr SHCTX "${APP_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr SHCTX "${APP_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr SHCTX "${APP_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD SHCTX "${APP_KEY}" "NoModify" 1
  WriteRegDWORD SHCTX "${APP_KEY}" "NoRepair" 1
  SectionGetSize ${librarySection} $0
  WriteRegDWORD SHCTX "${APP_KEY}" "EstimatedSize" $0
FunctionEnd

; DIFxAPI.dll belongs beside the library, the rest one folder above.
Function copyDriverPackage
  Call takeAwayDriverPackage
  ClearErrors
  FileOpen $2 "${DRIVER_LIST}" w
  FindFirst $0 $1 "$driverFolder\*"
  ${DoUntil} $1 == ""
    ${If} $1 == "DIFxAPI.dll"
      CopyFiles /SILENT "$driverFolder\$1" "$INSTDIR\bin"
    ${ElseIf} $1 != "."
    ${AndIf} $1 != ".."
      CopyFiles /SILENT "$driverFolder\$1" "$INSTDIR"
      FileWriteUTF16LE $2 "$1$\r$\n"
    ${EndIf}
    ${If} ${Errors}
      !insertmacro Fail ${FILES_FAILED} "The driver package cannot be copied to $INSTDIR."
    ${EndIf}
    ClearErrors
    FindNext $0 $1
  ${Loop}
  FindClose $0
  FileClose $2
FunctionEnd

!macro TakeAwayDriverPackage UN
Function ${UN}takeAwayDriverPackage
  ${IfNot} ${FileExists} "${DRIVER_LIST}"
    Return
  ${EndIf}
  FileOpen $2 "${DRIVER_LIST}" r
  ${Do}
    FileReadUTF16LE $2 $1
    ${If} $1 == ""
      ${ExitDo}
    ${EndIf}
    StrCpy $1 $1 -2 ; the end of the line
    Delete "$INSTDIR\$1"
    RMDir /r "$INSTDIR\$1"
  ${Loop}
  FileClose $2
  Delete "${DRIVER_LIST}"
  Delete "$INSTDIR\bin\DIFxAPI.dll"
FunctionEnd
!macroend
!insertmacro TakeAwayDriverPackage ""
!insertmacro TakeAwayDriverPackage "un."

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${librarySection} "What programs and scripts ask for ports, and its command line."
  !insertmacro MUI_DESCRIPTION_TEXT ${driverSection} \
    "What makes the ports: the package in the folder that is named driver, beside this program."
  !insertmacro MUI_DESCRIPTION_TEXT ${pathSection} "So that portwright can be called from any folder."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; The removal: in the order of its sections.

; The ports of a user alone are the machine's: an administrator deletes them.
Section "un.Ports and driver" un.portsSection
  ${If} $forMachine = 1
    !insertmacro RunPortwright "delete --all" ${PORTS_FAILED} \
      "The ports cannot be deleted. With /KEEPPORTS the rest is removed."
    !insertmacro RunPortwright "doctor --release-stale" ${PORTS_FAILED} \
      "Port numbers cannot be released. With /KEEPPORTS the rest is removed."
    ${If} ${FileExists} "${DRIVER_LIST}"
      !insertmacro RunPortwright 'uninstall --library "${LIBRARY}"' ${DRIVER_FAILED} \
        "The driver package cannot be uninstalled."
    ${EndIf}
  ${EndIf}
SectionEnd

Section "un.Library and portwright" un.librarySection
  SectionIn RO
  !insertmacro RunRegistration "/u" "The library's registration cannot be taken back"
  ReadRegDWORD $0 SHCTX "${APP_KEY}" "InPath"
  ${If} $0 = 1
    !insertmacro ChangePath TakeFromPath
  ${EndIf}
  Call un.takeAwayDriverPackage
  ClearErrors
  Delete "${LIBRARY}"
  Delete "$INSTDIR\bin\portwright.exe"
  Delete "$INSTDIR\LICENSE"
  Delete "$INSTDIR\THIRD-PARTY.md"
  ${If} ${Errors}
    !insertmacro Fail ${FILES_FAILED} "Files in $INSTDIR are in use. End the programs that use the library, and try again."
  ${EndIf}
  DeleteRegKey SHCTX "${APP_KEY}"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR\bin"
  RMDir "$INSTDIR"
SectionEnd

!insertmacro MUI_UNFUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${un.portsSection} "Deletes all ports, and uninstalls the driver package."
  !insertmacro MUI_DESCRIPTION_TEXT ${un.librarySection} "The library, its registration and its command line."
!insertmacro MUI_UNFUNCTION_DESCRIPTION_END

Function un.onInit
  SetRegView 64
  StrCpy $forMachine 0
  ReadRegStr $0 HKLM "${APP_KEY}" "InstallLocation"
  ${If} $0 == $INSTDIR
    StrCpy $forMachine 1
    UserInfo::GetAccountType
    Pop $0
    ${If} $0 != "Admin"
      !insertmacro Fail ${NEEDS_ADMINISTRATOR} "Only an administrator can remove what is installed for the machine."
    ${EndIf}
  ${EndIf}
  !insertmacro UseContext
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/KEEPPORTS" $1
  ${IfNot} ${Errors}
    !insertmacro UnselectSection ${un.portsSection}
  ${EndIf}
FunctionEnd
