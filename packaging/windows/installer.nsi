; The installer: makensis -DVERSION=... -DFOLDER=... -DOUT=... -DSIZE=KB installer.nsi
; For the user alone, or, by an administrator, for all. /S asks nothing; /AllUsers and
; /CurrentUser choose, /D=FOLDER names the place. Archives are never touched.
Unicode true
; A 64-bit one: where only 64-bit programs run, it runs too.
Target amd64-unicode
SetCompressor /SOLID lzma

!define NAME "anagparc"
!define TITLE "Anagrafica dei percettori 770/2015"
!define MENU "Percettori 770-2015" ; names of files have no slash
!define LIST "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"

!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_DEFAULT_CURRENTUSER
!define MULTIUSER_INSTALLMODE_INSTDIR "${NAME}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${LIST}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${LIST}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_USE_PROGRAMFILES64
!include MultiUser.nsh
!include MUI2.nsh

Name "${TITLE}"
OutFile "${OUT}"
BrandingText "anagparc ${VERSION}"
!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
VIProductVersion "${VERSION}.0"
VIAddVersionKey FileDescription "Installazione di ${TITLE}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey ProductName "${TITLE}"
VIAddVersionKey LegalCopyright ""

!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "Italian"

; A running program keeps its file: then nothing is changed.
!macro REFUSE_RUNNING PROGRAM
  ${If} ${FileExists} "$INSTDIR\${PROGRAM}.exe"
    ClearErrors
    FileOpen $0 "$INSTDIR\${PROGRAM}.exe" a
    ${If} ${Errors}
      MessageBox MB_OK|MB_ICONEXCLAMATION "Il programma ${PROGRAM} è aperto. Chiuderlo, in tutte le sessioni di questo computer, e riprovare: non è stato cambiato niente." /SD IDOK
      SetErrorLevel 1
      Quit
    ${EndIf}
    FileClose $0
  ${EndIf}
!macroend
!macro REFUSE_RUNNING_ONES
  !insertmacro REFUSE_RUNNING anagparc
  !insertmacro REFUSE_RUNNING anagparc-archivio
  !insertmacro REFUSE_RUNNING anagparc-script
!macroend

Function .onInit
  !insertmacro MULTIUSER_INIT
FunctionEnd

Function un.onInit
  !insertmacro MULTIUSER_UNINIT
FunctionEnd

Section
  !insertmacro REFUSE_RUNNING_ONES
  ; An upgrade begins with the removal of what the release before has brought.
  ${If} ${FileExists} "$INSTDIR\disinstalla.exe"
    ExecWait '"$INSTDIR\disinstalla.exe" /$MultiUser.InstallMode /S _?=$INSTDIR'
  ${EndIf}
  SetOutPath "$INSTDIR"
  File /r "${FOLDER}/*"
  WriteUninstaller "$INSTDIR\disinstalla.exe"
  CreateDirectory "$SMPROGRAMS\${MENU}"
  CreateShortCut "$SMPROGRAMS\${MENU}\${MENU}.lnk" "$INSTDIR\anagparc.exe"
  CreateShortCut "$SMPROGRAMS\${MENU}\Manuale.lnk" "$INSTDIR\manuale\manuale.html"
  ; A user's first archive, in a window that waits to be read; and the tool's other commands.
  CreateShortCut "$SMPROGRAMS\${MENU}\Prepara la cartella degli archivi.lnk" "$SYSDIR\cmd.exe" \
    '/c ""$INSTDIR\anagparc-archivio.exe" prepara "%USERPROFILE%\archivi" & pause"' \
    "$INSTDIR\anagparc.exe"
  CreateShortCut "$SMPROGRAMS\${MENU}\Comandi.lnk" "$SYSDIR\cmd.exe" \
    '/k "set PATH=$INSTDIR;%PATH%"' "$INSTDIR\anagparc.exe"
  WriteRegStr SHCTX "${LIST}" "DisplayName" "${TITLE}"
  WriteRegStr SHCTX "${LIST}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${LIST}" "DisplayIcon" "$INSTDIR\anagparc.exe"
  WriteRegStr SHCTX "${LIST}" "InstallLocation" "$INSTDIR"
  WriteRegStr SHCTX "${LIST}" "UninstallString" '"$INSTDIR\disinstalla.exe" /$MultiUser.InstallMode'
  WriteRegStr SHCTX "${LIST}" "QuietUninstallString" '"$INSTDIR\disinstalla.exe" /$MultiUser.InstallMode /S'
  WriteRegDWORD SHCTX "${LIST}" "EstimatedSize" ${SIZE}
  WriteRegDWORD SHCTX "${LIST}" "NoModify" 1
  WriteRegDWORD SHCTX "${LIST}" "NoRepair" 1
SectionEnd

; File by file: whatever else has come to stand in the folder stays.
Section Uninstall
  !insertmacro REFUSE_RUNNING_ONES
  !include "${FILES}"
  Delete "$INSTDIR\disinstalla.exe"
  RMDir "$INSTDIR"
  Delete "$SMPROGRAMS\${MENU}\${MENU}.lnk"
  Delete "$SMPROGRAMS\${MENU}\Manuale.lnk"
  Delete "$SMPROGRAMS\${MENU}\Prepara la cartella degli archivi.lnk"
  Delete "$SMPROGRAMS\${MENU}\Comandi.lnk"
  RMDir "$SMPROGRAMS\${MENU}"
  DeleteRegKey SHCTX "${LIST}"
SectionEnd
