<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>ChatBox</name>
    <message>
        <source>&amp;Open Link...</source>
        <translation>Link ö&amp;ffnen...</translation>
    </message>
    <message>
        <source>Copy Link A&amp;ddress</source>
        <translation>&amp;Linkadresse kopieren</translation>
    </message>
</context>
<context>
    <name>ConfigList</name>
    <message>
        <source>&amp;Name:</source>
        <translation>&amp;Name:</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Confi&amp;gurations:</source>
        <translation>&amp;Konfigurationen:</translation>
    </message>
    <message>
        <source>Configurations</source>
        <translation>Konfigurationen</translation>
    </message>
    <message>
        <source>N&amp;ew...</source>
        <translation>N&amp;eu...</translation>
    </message>
    <message>
        <source>Co&amp;py...</source>
        <translation>Ko&amp;pieren...</translation>
    </message>
    <message>
        <source>Rena&amp;me...</source>
        <translation>&amp;Umbenennen...</translation>
    </message>
    <message>
        <source>&amp;Delete</source>
        <translation>&amp;Löschen</translation>
    </message>
    <message>
        <source>%1 (in use)</source>
        <translation>%1 (in Gebrauch)</translation>
    </message>
    <message>
        <source>A copy has all settings of its original, handle and password too.</source>
        <translation>Eine Kopie hat alle Einstellungen ihres Originals, auch Benutzername und Passwort.</translation>
    </message>
    <message>
        <source>This configuration is always there: it can be copied, but neither renamed nor deleted.</source>
        <translation>Diese Konfiguration gibt es immer: Sie lässt sich kopieren, aber weder umbenennen noch löschen.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is in use in this meeting and cannot be deleted. Choose another one in the login dialog first.</source>
        <translation>„%1“ ist in dieser Besprechung in Gebrauch und lässt sich nicht löschen. Wählen Sie zuerst bei der Anmeldung eine andere.</translation>
    </message>
    <message>
        <source>New Configuration</source>
        <translation>Neue Konfiguration</translation>
    </message>
    <message>
        <source>Copy Configuration</source>
        <translation>Konfiguration kopieren</translation>
    </message>
    <message>
        <source>Rename Configuration</source>
        <translation>Konfiguration umbenennen</translation>
    </message>
</context>
<context>
    <name>Defined</name>
    <message>
        <source>Quorvia failed to load. You may need to re-install Quorvia.</source>
        <translation>Quorvia konnte nicht geladen werden. Möglicherweise muss Quorvia neu installiert werden.</translation>
    </message>
    <message>
        <source>%1 Error</source>
        <comment>caption</comment>
        <translation>%1 – Fehler</translation>
    </message>
    <message>
        <source>%1 Critical Error: %2</source>
        <translation>Schwerer Fehler in %1: %2</translation>
    </message>
    <message>
        <source>(Desktop)</source>
        <translation>(Ganzer Bildschirm)</translation>
    </message>
    <message>
        <source>(No Video)</source>
        <translation>(Kein Video)</translation>
    </message>
    <message>
        <source>%1 - Video Settings</source>
        <translation>%1 – Videoeinstellungen</translation>
    </message>
    <message>
        <source>%1 cannot locate your video camera or software.</source>
        <translation>%1 findet weder Ihre Kamera noch deren Software.</translation>
    </message>
    <message>
        <source>The maximum Frame Rate in HTTP mode is %1 fps.</source>
        <translation>Im HTTP-Betrieb sind höchstens %1 Bilder pro Sekunde möglich.</translation>
    </message>
    <message>
        <source>Res:%1x%2</source>
        <comment>width, height</comment>
        <translation>Bild:%1x%2</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>%1 - Enter Meeting</source>
        <translation>%1 – Besprechung betreten</translation>
    </message>
    <message>
        <source>More &lt;&lt;</source>
        <translation>Mehr &lt;&lt;</translation>
    </message>
    <message>
        <source>More &gt;&gt;</source>
        <translation>Mehr &gt;&gt;</translation>
    </message>
    <message>
        <source>Please enter your handle.</source>
        <translation>Bitte geben Sie Ihren Benutzernamen ein.</translation>
    </message>
    <message>
        <source>Send Password!</source>
        <translation>Passwort senden!</translation>
    </message>
    <message>
        <source>Configuration:</source>
        <translation>Konfiguration:</translation>
    </message>
    <message>
        <source>Meeting Information</source>
        <translation>Besprechung</translation>
    </message>
    <message>
        <source>&amp;Join Existing Meeting</source>
        <translation>An Besprechung &amp;teilnehmen</translation>
    </message>
    <message>
        <source>Start &amp;New Meeting</source>
        <translation>&amp;Neue Besprechung beginnen</translation>
    </message>
    <message>
        <source>&amp;Handle:</source>
        <translation>&amp;Benutzername:</translation>
    </message>
    <message>
        <source>&amp;Password:</source>
        <translation>&amp;Passwort:</translation>
    </message>
    <message>
        <source>&amp;Meeting Code:</source>
        <translation>&amp;Code:</translation>
    </message>
    <message>
        <source>Choose current configuration</source>
        <translation>Konfiguration wählen</translation>
    </message>
    <message>
        <source>&amp;Default</source>
        <translation>&amp;Standard</translation>
    </message>
    <message>
        <source>Set as default configuration</source>
        <translation>Als Standardkonfiguration festlegen</translation>
    </message>
    <message>
        <source>Protocol:</source>
        <translation>Protokoll:</translation>
    </message>
    <message>
        <source>Host&amp;name:</source>
        <translation>&amp;Rechner:</translation>
    </message>
    <message>
        <source>Advanced Options</source>
        <translation>Erweiterte Optionen</translation>
    </message>
    <message>
        <source>Choose login options</source>
        <translation>Weitere Optionen der Anmeldung</translation>
    </message>
    <message>
        <source>Click here to Exit</source>
        <translation>Hier klicken, um abzubrechen</translation>
    </message>
    <message>
        <source>Enter</source>
        <translation>Beitreten</translation>
    </message>
    <message>
        <source>Click here to login to Zephyl</source>
        <translation>Hier klicken, um sich bei Zephyl anzumelden</translation>
    </message>
    <message>
        <source>The Meeting Code must be between 6 and 20 characters.</source>
        <translation>Der Besprechungscode muss 6 bis 20 Zeichen lang sein.</translation>
    </message>
    <message>
        <source>The Meeting Code must consist of letters and numbers only.</source>
        <translation>Der Besprechungscode darf nur aus Buchstaben von A bis Z und Ziffern bestehen.</translation>
    </message>
    <message>
        <source>The password for &apos;%1&apos; has been sent to &apos;%2&apos;.</source>
        <comment>handle, mail address</comment>
        <translation>Das Passwort für „%1“ wurde an „%2“ gesendet.</translation>
    </message>
    <message>
        <source>The user &apos;%1&apos; could not be found. Please make sure you entered the handle correctly.</source>
        <translation>Der Benutzer „%1“ wurde nicht gefunden. Bitte prüfen Sie, ob der Benutzername richtig geschrieben ist.</translation>
    </message>
    <message>
        <source>Unable to join meeting. This user does not have meeting permissions.</source>
        <translation>Teilnahme nicht möglich. Dieser Benutzer darf an keiner Besprechung teilnehmen.</translation>
    </message>
    <message>
        <source>Unable to create meeting. This meeting code may be in use. Try another meeting code.</source>
        <translation>Die Besprechung kann nicht begonnen werden. Vielleicht ist der Besprechungscode schon vergeben. Versuchen Sie es mit einem anderen.</translation>
    </message>
    <message>
        <source>Unable to join meeting. The meeting code was not found. Make sure your meeting code is correct.</source>
        <translation>Teilnahme nicht möglich. Der Besprechungscode wurde nicht gefunden. Bitte prüfen Sie, ob er richtig ist.</translation>
    </message>
    <message>
        <source>%1 Login</source>
        <comment>caption of the login dialog</comment>
        <translation>%1 – Anmeldung</translation>
    </message>
    <message>
        <source>Restore chat bar</source>
        <translation>Chatleiste zeigen</translation>
    </message>
    <message>
        <source>Hide chat bar</source>
        <translation>Chatleiste ausblenden</translation>
    </message>
    <message>
        <source>About %1</source>
        <translation>Über %1</translation>
    </message>
    <message>
        <source>Version %1</source>
        <translation>Version %1</translation>
    </message>
    <message>
        <source>System Information Is Unavailable At This Time</source>
        <translation>Systeminformationen sind zurzeit nicht verfügbar</translation>
    </message>
    <message>
        <source>Video input window</source>
        <translation>Bild Ihrer Kamera</translation>
    </message>
    <message>
        <source>&amp;Talk</source>
        <translation>&amp;Reden</translation>
    </message>
    <message>
        <source>Res: 160x120</source>
        <translation>Bild: 160x120</translation>
    </message>
    <message>
        <source>image quality</source>
        <translation>Bildqualität</translation>
    </message>
    <message>
        <source>Adjust Image Quality</source>
        <translation>Bildqualität einstellen</translation>
    </message>
    <message>
        <source>frames/sec</source>
        <translation>Bilder/s</translation>
    </message>
    <message>
        <source>Adjust Frame Rate</source>
        <translation>Bildrate einstellen</translation>
    </message>
    <message>
        <source>Meeting Attendees</source>
        <translation>Teilnehmer</translation>
    </message>
    <message>
        <source>Users currently in Session</source>
        <translation>Wer gerade in der Besprechung ist</translation>
    </message>
    <message>
        <source>Enter your message here</source>
        <translation>Hier Ihre Nachricht eingeben</translation>
    </message>
    <message>
        <source>Send a message the selected user/buddy</source>
        <translation>Nachricht an die Teilnehmer senden</translation>
    </message>
    <message>
        <source>Send</source>
        <translation>Senden</translation>
    </message>
    <message>
        <source>&amp;Whisper</source>
        <translation>&amp;Flüstern</translation>
    </message>
    <message>
        <source>Chat Window</source>
        <translation>Chat</translation>
    </message>
    <message>
        <source>Meeting started: %1</source>
        <translation>Besprechung begonnen: %1</translation>
    </message>
    <message>
        <source>&amp;Meeting</source>
        <translation>&amp;Besprechung</translation>
    </message>
    <message>
        <source>&amp;New Meeting...</source>
        <translation>&amp;Neue Besprechung...</translation>
    </message>
    <message>
        <source>E&amp;xit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Hilfe</translation>
    </message>
    <message>
        <source>About Quorvia...</source>
        <translation>Über Quorvia...</translation>
    </message>
    <message>
        <source>Time the whiteboard was opened</source>
        <translation>Seit wann das Whiteboard offen ist</translation>
    </message>
    <message>
        <source>Last user to update the whiteboard</source>
        <translation>Wer das Whiteboard zuletzt geändert hat</translation>
    </message>
    <message>
        <source>Zephyl Whiteboard: Ready</source>
        <translation>Zephyl-Whiteboard: bereit</translation>
    </message>
    <message>
        <source>Last Modified: (Not Modified) </source>
        <translation>Zuletzt geändert: (unverändert) </translation>
    </message>
    <message>
        <source>Last Modified: %1 %2 </source>
        <comment>handle, time</comment>
        <translation>Zuletzt geändert: %1 %2 </translation>
    </message>
    <message>
        <source>Insert Picture (Select File)</source>
        <translation>Bild einfügen (Datei wählen)</translation>
    </message>
    <message>
        <source>Pictures</source>
        <translation>Bilder</translation>
    </message>
    <message>
        <source>There is no image on the clipboard.</source>
        <translation>In der Zwischenablage ist kein Bild.</translation>
    </message>
    <message>
        <source>Select Font</source>
        <translation>Schriftart wählen</translation>
    </message>
    <message>
        <source>Save Meeting Image</source>
        <translation>Bild der Besprechung speichern</translation>
    </message>
    <message>
        <source>Meeting Images</source>
        <translation>Bilder von Besprechungen</translation>
    </message>
    <message>
        <source>Erase</source>
        <translation>Radieren</translation>
    </message>
    <message>
        <source>Draw</source>
        <translation>Stift</translation>
    </message>
    <message>
        <source>Shape</source>
        <translation>Form</translation>
    </message>
    <message>
        <source>Text</source>
        <translation>Text</translation>
    </message>
    <message>
        <source>Paste</source>
        <translation>Einfügen</translation>
    </message>
    <message>
        <source>File</source>
        <translation>Datei</translation>
    </message>
    <message>
        <source>App</source>
        <translation>App</translation>
    </message>
    <message>
        <source>Video</source>
        <translation>Video</translation>
    </message>
    <message>
        <source>Undo</source>
        <translation>Zurück</translation>
    </message>
    <message>
        <source>Redo</source>
        <translation>Vor</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Leeren</translation>
    </message>
    <message>
        <source>Exit</source>
        <translation>Ende</translation>
    </message>
    <message>
        <source>Pen</source>
        <translation>Stift</translation>
    </message>
    <message>
        <source>Line</source>
        <translation>Linie</translation>
    </message>
    <message>
        <source>Point</source>
        <translation>Zeiger</translation>
    </message>
    <message>
        <source>Box</source>
        <translation>Rechteck</translation>
    </message>
    <message>
        <source>Circle</source>
        <translation>Kreis</translation>
    </message>
    <message>
        <source>Use the Draw tool</source>
        <translation>Zeichnen</translation>
    </message>
    <message>
        <source>Use the Shape tool</source>
        <translation>Eine Form zeichnen</translation>
    </message>
    <message>
        <source>Use the Text tool</source>
        <translation>Text schreiben</translation>
    </message>
    <message>
        <source>Paste an image from the clipboard</source>
        <translation>Bild aus der Zwischenablage einfügen</translation>
    </message>
    <message>
        <source>Insert an image from a file</source>
        <translation>Bild aus einer Datei einfügen</translation>
    </message>
    <message>
        <source>Insert image of a currently running application</source>
        <translation>Bild einer laufenden Anwendung einfügen</translation>
    </message>
    <message>
        <source>Insert Video Stream</source>
        <translation>Video einfügen</translation>
    </message>
    <message>
        <source>Undo last change to the whiteboard</source>
        <translation>Letzte Änderung am Whiteboard rückgängig machen</translation>
    </message>
    <message>
        <source>Redo last change to the whiteboard</source>
        <translation>Rückgängig gemachte Änderung am Whiteboard wiederholen</translation>
    </message>
    <message>
        <source>Clear the whiteboard</source>
        <translation>Whiteboard leeren</translation>
    </message>
    <message>
        <source>Exit Program</source>
        <translation>Programm beenden</translation>
    </message>
    <message>
        <source>Font...</source>
        <translation>Schriftart...</translation>
    </message>
    <message>
        <source>&amp;Tools</source>
        <translation>&amp;Werkzeuge</translation>
    </message>
    <message>
        <source>C&amp;lear Whiteboard</source>
        <translation>Whiteboard &amp;leeren</translation>
    </message>
    <message>
        <source>&amp;Erase Tool</source>
        <translation>&amp;Radieren</translation>
    </message>
    <message>
        <source>&amp;Draw Tool</source>
        <translation>&amp;Zeichnen</translation>
    </message>
    <message>
        <source>&amp;Shape Tool</source>
        <translation>&amp;Form</translation>
    </message>
    <message>
        <source>&amp;Text Tool</source>
        <translation>&amp;Text</translation>
    </message>
    <message>
        <source>&amp;Paste Tool</source>
        <translation>&amp;Einfügen</translation>
    </message>
    <message>
        <source>&amp;App Tool</source>
        <translation>&amp;App</translation>
    </message>
    <message>
        <source>&amp;Video Tool</source>
        <translation>&amp;Video</translation>
    </message>
    <message>
        <source>&amp;File Tool</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>Select &amp;Font...</source>
        <translation>&amp;Schriftart wählen...</translation>
    </message>
    <message>
        <source>&amp;Undo</source>
        <translation>Rück&amp;gängig</translation>
    </message>
    <message>
        <source>&amp;Redo</source>
        <translation>&amp;Wiederholen</translation>
    </message>
    <message>
        <source>&amp;Save to File...</source>
        <translation>In Datei s&amp;peichern...</translation>
    </message>
    <message>
        <source>&amp;Copy to Clipboard</source>
        <translation>In die Zwischenablage &amp;kopieren</translation>
    </message>
    <message>
        <source>the address on file</source>
        <translation>die hinterlegte Adresse</translation>
    </message>
</context>
<context>
    <name>Dropping</name>
    <message>
        <source>%1 is no picture that the board can take.</source>
        <translation>%1 ist kein Bild, das das Whiteboard annehmen kann.</translation>
    </message>
    <message>
        <source>Only the first %1 files were placed.</source>
        <translation>Nur die ersten %1 Dateien wurden eingefügt.</translation>
    </message>
    <message>
        <source>That is an address and no picture; addresses are not fetched.</source>
        <translation>Das ist eine Adresse und kein Bild; von Adressen wird nichts geholt.</translation>
    </message>
    <message>
        <source>That is no picture that the board can take.</source>
        <translation>Das ist kein Bild, das das Whiteboard annehmen kann.</translation>
    </message>
    <message>
        <source>That is no picture.</source>
        <translation>Das ist kein Bild.</translation>
    </message>
</context>
<context>
    <name>MeetingStatusBar</name>
    <message>
        <source>Size at which you see the whiteboard; Ctrl+0 shows it at its own</source>
        <translation>Größe, in der Sie das Whiteboard sehen; Strg+0 zeigt es in seiner eigenen</translation>
    </message>
    <message>
        <source>%1 %</source>
        <translation>%1 %</translation>
    </message>
</context>
<context>
    <name>OpenLink</name>
    <message>
        <source>There is no program that opens web addresses.</source>
        <translation>Es gibt kein Programm, das Webadressen öffnet.</translation>
    </message>
</context>
<context>
    <name>Ours</name>
    <message>
        <source>Much is waiting to be sent: wait a moment.</source>
        <translation>Es wartet noch viel darauf, gesendet zu werden: Bitte einen Augenblick Geduld.</translation>
    </message>
    <message>
        <source>The shared window has been closed.</source>
        <translation>Das freigegebene Fenster wurde geschlossen.</translation>
    </message>
    <message>
        <source>Video Format</source>
        <translation>Videoformat</translation>
    </message>
    <message>
        <source>Picture sizes of the camera</source>
        <translation>Bildgrößen der Kamera</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Size of your video in pixels:</source>
        <translation>Größe Ihres Videos in Pixeln:</translation>
    </message>
    <message>
        <source>Share Application</source>
        <translation>Anwendung freigeben</translation>
    </message>
    <message>
        <source>Running applications</source>
        <translation>Laufende Anwendungen</translation>
    </message>
    <message>
        <source>Windows cannot be shared on this computer.</source>
        <translation>Auf diesem Computer lassen sich keine Fenster freigeben.</translation>
    </message>
    <message>
        <source>Which window shall the others see?</source>
        <translation>Welches Fenster sollen die anderen sehen?</translation>
    </message>
    <message>
        <source>Receivers take this text for a command and do not show it.</source>
        <translation>Die Empfänger halten diesen Text für einen Befehl und zeigen ihn nicht an.</translation>
    </message>
    <message>
        <source>Enciphered text holds Western European characters only; others arrive as &quot;?&quot;.</source>
        <translation>Verschlüsselter Text kann nur westeuropäische Zeichen enthalten; andere kommen als „?“ an.</translation>
    </message>
    <message>
        <source>Whispered to nobody: only your own name is selected.</source>
        <translation>An niemanden geflüstert: Nur Ihr eigener Name ist ausgewählt.</translation>
    </message>
    <message>
        <source>Whispered to %1</source>
        <comment>handles</comment>
        <translation>Geflüstert an %1</translation>
    </message>
    <message>
        <source>Drawn by %1, %2</source>
        <comment>handle, time</comment>
        <translation>Gezeichnet von %1, %2</translation>
    </message>
    <message>
        <source>%1 has taken back what %2 had drawn.</source>
        <comment>two handles</comment>
        <translation>%1 hat zurückgenommen, was %2 gezeichnet hatte.</translation>
    </message>
    <message>
        <source>&amp;Take Back From</source>
        <translation>&amp;Zurücknehmen von</translation>
    </message>
    <message>
        <source>Nobody has drawn here.</source>
        <translation>Hier hat niemand gezeichnet.</translation>
    </message>
    <message>
        <source>Not delivered</source>
        <translation>Nicht zugestellt</translation>
    </message>
    <message>
        <source>Not sent yet: it goes out with the connection</source>
        <translation>Noch nicht gesendet: Es geht hinaus, sobald die Verbindung wieder steht</translation>
    </message>
    <message>
        <source>Enter your computer&apos;s IP address or its fully qualified domain name, for example desk.example.com</source>
        <translation>IP-Adresse oder vollständiger Name Ihres Computers, zum Beispiel desk.example.com</translation>
    </message>
    <message>
        <source>Ser&amp;vice:</source>
        <translation>D&amp;ienst:</translation>
    </message>
    <message>
        <source>this computer</source>
        <translation>dieser Computer</translation>
    </message>
    <message>
        <source>Where the meeting is: HOST or HOST:PORT; empty for this computer</source>
        <translation>Wo die Besprechung ist: RECHNER oder RECHNER:PORT; leer für diesen Computer</translation>
    </message>
    <message>
        <source>Goes back to the meeting, or ends Quorvia when there is none</source>
        <translation>Kehrt zur Besprechung zurück oder beendet Quorvia, wenn es keine gibt</translation>
    </message>
    <message>
        <source>Meet, talk and draw together: a shared whiteboard with chat, video, shared windows and voice.</source>
        <translation>Gemeinsam besprechen, reden und zeichnen: ein geteiltes Whiteboard mit Chat, Video, freigegebenen Fenstern und Sprache.</translation>
    </message>
    <message>
        <source>This program comes without any warranty. What you draw, write and show reaches everybody in the meeting.</source>
        <translation>Für dieses Programm gibt es keinerlei Gewähr. Was Sie zeichnen, schreiben und zeigen, erreicht alle in der Besprechung.</translation>
    </message>
    <message>
        <source>&amp;System Info...</source>
        <translation>&amp;Systeminfo...</translation>
    </message>
    <message>
        <source>The message is as long as a message can be.</source>
        <translation>Länger kann eine Nachricht nicht sein.</translation>
    </message>
    <message>
        <source>Chat bar</source>
        <translation>Chatleiste</translation>
    </message>
    <message>
        <source>Own video</source>
        <translation>Eigenes Video</translation>
    </message>
    <message>
        <source>Message</source>
        <translation>Nachricht</translation>
    </message>
    <message>
        <source>Sends the message to every attendee</source>
        <translation>Sendet die Nachricht an alle Teilnehmer</translation>
    </message>
    <message>
        <source>Sends the message to the selected attendees only</source>
        <translation>Sendet die Nachricht nur an die ausgewählten Teilnehmer</translation>
    </message>
    <message>
        <source>Chat</source>
        <translation>Chat</translation>
    </message>
    <message>
        <source>Chinese</source>
        <translation>Chinesisch</translation>
    </message>
    <message>
        <source>Japanese</source>
        <translation>Japanisch</translation>
    </message>
    <message>
        <source>Korean</source>
        <translation>Koreanisch</translation>
    </message>
    <message>
        <source>Arabic</source>
        <translation>Arabisch</translation>
    </message>
    <message>
        <source>Hebrew</source>
        <translation>Hebräisch</translation>
    </message>
    <message>
        <source>Greek</source>
        <translation>Griechisch</translation>
    </message>
    <message>
        <source>Cyrillic</source>
        <translation>Kyrillisch</translation>
    </message>
    <message>
        <source>Devanagari</source>
        <translation>Devanagari</translation>
    </message>
    <message>
        <source>Bengali</source>
        <translation>Bengalisch</translation>
    </message>
    <message>
        <source>Tamil</source>
        <translation>Tamil</translation>
    </message>
    <message>
        <source>Telugu</source>
        <translation>Telugu</translation>
    </message>
    <message>
        <source>Gujarati</source>
        <translation>Gujarati</translation>
    </message>
    <message>
        <source>Gurmukhi</source>
        <translation>Gurmukhi</translation>
    </message>
    <message>
        <source>Kannada</source>
        <translation>Kannada</translation>
    </message>
    <message>
        <source>Malayalam</source>
        <translation>Malayalam</translation>
    </message>
    <message>
        <source>Sinhala</source>
        <translation>Singhalesisch</translation>
    </message>
    <message>
        <source>Thai</source>
        <translation>Thailändisch</translation>
    </message>
    <message>
        <source>Lao</source>
        <translation>Laotisch</translation>
    </message>
    <message>
        <source>Khmer</source>
        <translation>Khmer</translation>
    </message>
    <message>
        <source>Burmese</source>
        <translation>Birmanisch</translation>
    </message>
    <message>
        <source>Tibetan</source>
        <translation>Tibetisch</translation>
    </message>
    <message>
        <source>Ethiopic</source>
        <translation>Äthiopisch</translation>
    </message>
    <message>
        <source>Georgian</source>
        <translation>Georgisch</translation>
    </message>
    <message>
        <source>Armenian</source>
        <translation>Armenisch</translation>
    </message>
    <message>
        <source>a rare script</source>
        <translation>eine seltene Schrift</translation>
    </message>
    <message>
        <source>emoji</source>
        <translation>Emojis</translation>
    </message>
    <message numerus="yes">
        <source>%n more since then; all of them stand in the event log.</source>
        <comment>errors</comment>
        <translation>
            <numerusform>Seitdem ein weiterer; alle stehen im Ereignisprotokoll.</numerusform>
            <numerusform>Seitdem %n weitere; alle stehen im Ereignisprotokoll.</numerusform>
        </translation>
    </message>
    <message>
        <source>Nobody vouches for the service at %1.</source>
        <translation>Niemand bürgt für den Dienst unter %1.</translation>
    </message>
    <message>
        <source>&amp;Trust this key</source>
        <translation>Diesem Schlüssel &amp;vertrauen</translation>
    </message>
    <message>
        <source>&amp;Do not connect</source>
        <translation>&amp;Nicht verbinden</translation>
    </message>
    <message>
        <source>Save in:</source>
        <translation>Speichern in:</translation>
    </message>
    <message>
        <source>%1 asked for another frame rate; your settings do not allow it.</source>
        <comment>handle</comment>
        <translation>%1 hat um eine andere Bildrate gebeten; Ihre Einstellungen lassen das nicht zu.</translation>
    </message>
    <message>
        <source>No font for %1 is installed.</source>
        <comment>a script or its language</comment>
        <translation>Für %1 ist keine Schriftart installiert.</translation>
    </message>
    <message>
        <source>State of the whiteboard</source>
        <translation>Zustand des Whiteboards</translation>
    </message>
    <message>
        <source>Connection to the service</source>
        <translation>Verbindung zum Dienst</translation>
    </message>
    <message>
        <source>No picture</source>
        <comment>of the camera</comment>
        <translation>Kein Bild</translation>
    </message>
    <message>
        <source>Pointer on the whiteboard</source>
        <translation>Zeiger auf dem Whiteboard</translation>
    </message>
    <message>
        <source>Text for the whiteboard</source>
        <translation>Text für das Whiteboard</translation>
    </message>
    <message>
        <source>There is no camera: nobody sees a video of yours.</source>
        <translation>Es gibt keine Kamera: Niemand sieht ein Video von Ihnen.</translation>
    </message>
    <message>
        <source>Whiteboard</source>
        <translation>Whiteboard</translation>
    </message>
    <message>
        <source>Scroll the whiteboard sideways</source>
        <translation>Whiteboard seitwärts verschieben</translation>
    </message>
    <message>
        <source>Scroll the whiteboard up and down</source>
        <translation>Whiteboard auf und ab verschieben</translation>
    </message>
    <message>
        <source>The others see this text only up to &quot;%1&quot;, which separates fields on the way to them.</source>
        <translation>Die anderen sehen diesen Text nur bis „%1“, denn das trennt auf dem Weg zu ihnen die Felder.</translation>
    </message>
    <message>
        <source>White</source>
        <translation>Weiß</translation>
    </message>
    <message>
        <source>Black</source>
        <translation>Schwarz</translation>
    </message>
    <message>
        <source>Light grey</source>
        <translation>Hellgrau</translation>
    </message>
    <message>
        <source>Grey</source>
        <translation>Grau</translation>
    </message>
    <message>
        <source>Maroon</source>
        <translation>Dunkelrot</translation>
    </message>
    <message>
        <source>Red</source>
        <translation>Rot</translation>
    </message>
    <message>
        <source>Brown</source>
        <translation>Braun</translation>
    </message>
    <message>
        <source>Orange</source>
        <translation>Orange</translation>
    </message>
    <message>
        <source>Green</source>
        <translation>Grün</translation>
    </message>
    <message>
        <source>Lime</source>
        <translation>Hellgrün</translation>
    </message>
    <message>
        <source>Olive</source>
        <translation>Oliv</translation>
    </message>
    <message>
        <source>Yellow</source>
        <translation>Gelb</translation>
    </message>
    <message>
        <source>Purple</source>
        <translation>Violett</translation>
    </message>
    <message>
        <source>Magenta</source>
        <translation>Magenta</translation>
    </message>
    <message>
        <source>Navy</source>
        <translation>Dunkelblau</translation>
    </message>
    <message>
        <source>Blue</source>
        <translation>Blau</translation>
    </message>
    <message>
        <source>Line width %1</source>
        <translation>Linienbreite %1</translation>
    </message>
    <message>
        <source>Whiteboard tools</source>
        <translation>Werkzeuge für das Whiteboard</translation>
    </message>
    <message>
        <source>Colours</source>
        <translation>Farben</translation>
    </message>
    <message>
        <source>Line widths</source>
        <translation>Linienbreiten</translation>
    </message>
    <message>
        <source>Host name or address</source>
        <translation>Rechnername oder Adresse</translation>
    </message>
    <message>
        <source>Protocol</source>
        <translation>Protokoll</translation>
    </message>
    <message>
        <source>Picture size of the camera</source>
        <translation>Bildgröße der Kamera</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>F7 draws by keys</source>
        <translation>F7 zeichnet mit Tasten</translation>
    </message>
    <message>
        <source>Cursor on the whiteboard</source>
        <translation>Zeiger auf dem Whiteboard</translation>
    </message>
    <message>
        <source>Drawing by keys: arrows move, Space presses and releases, Escape leaves. %1</source>
        <translation>Zeichnen mit Tasten: Pfeiltasten bewegen, die Leertaste drückt und lässt los, Escape beendet. %1</translation>
    </message>
    <message>
        <source>Drawing by keys has ended</source>
        <translation>Das Zeichnen mit Tasten ist beendet</translation>
    </message>
    <message>
        <source>Edge of the whiteboard. %1</source>
        <translation>Rand des Whiteboards. %1</translation>
    </message>
    <message>
        <source>Pressed at %1</source>
        <translation>Gedrückt bei %1</translation>
    </message>
    <message>
        <source>Released at %1</source>
        <translation>Losgelassen bei %1</translation>
    </message>
    <message>
        <source>Clicked at %1</source>
        <translation>Geklickt bei %1</translation>
    </message>
    <message>
        <source>Given up at %1</source>
        <translation>Aufgegeben bei %1</translation>
    </message>
    <message>
        <source>&amp;Preferences...</source>
        <translation>&amp;Einstellungen...</translation>
    </message>
    <message>
        <source>Asking the desktop what can be shared...</source>
        <translation>Der Desktop wird gefragt, was geteilt werden kann...</translation>
    </message>
    <message>
        <source>What shall the others see? The desktop then asks which one.</source>
        <translation>Was sollen die anderen sehen? Welches genau, fragt dann der Desktop.</translation>
    </message>
    <message>
        <source>The desktop is asking what to share.</source>
        <translation>Der Desktop fragt, was geteilt werden soll.</translation>
    </message>
    <message>
        <source>On Wayland it is the desktop that hands out its windows, through a portal, and none is running here. Its packages are xdg-desktop-portal and the one made for your desktop, such as xdg-desktop-portal-gnome, -kde or -wlr.</source>
        <translation>Unter Wayland gibt der Desktop seine Fenster selbst heraus, durch ein Portal, und hier läuft keines. Seine Pakete sind xdg-desktop-portal und das für Ihren Desktop, etwa xdg-desktop-portal-gnome, -kde oder -wlr.</translation>
    </message>
    <message>
        <source>The desktop&apos;s portal cannot share windows here. That takes the part of it made for your desktop, such as xdg-desktop-portal-gnome, -kde or -wlr.</source>
        <translation>Das Portal des Desktops kann hier keine Fenster teilen. Dazu gehört sein Teil für Ihren Desktop, etwa xdg-desktop-portal-gnome, -kde oder -wlr.</translation>
    </message>
    <message>
        <source>The desktop&apos;s portal does not answer.</source>
        <translation>Das Portal des Desktops antwortet nicht.</translation>
    </message>
    <message>
        <source>The desktop&apos;s portal failed before it had anything to share.</source>
        <translation>Das Portal des Desktops ist gescheitert, bevor es etwas zu teilen gab.</translation>
    </message>
    <message>
        <source>The desktop did not allow it.</source>
        <translation>Der Desktop hat es nicht erlaubt.</translation>
    </message>
    <message>
        <source>The desktop&apos;s portal has gone.</source>
        <translation>Das Portal des Desktops läuft nicht mehr.</translation>
    </message>
    <message>
        <source>On Wayland the pictures of windows come through PipeWire, and its library is not installed (package libpipewire-0.3-0).</source>
        <translation>Unter Wayland kommen die Bilder von Fenstern über PipeWire, und dessen Bibliothek ist nicht installiert (Paket libpipewire-0.3-0).</translation>
    </message>
    <message>
        <source>The desktop allowed it, but no picture comes through PipeWire. Are pipewire and wireplumber running?</source>
        <translation>Der Desktop hat es erlaubt, aber über PipeWire kommt kein Bild. Laufen pipewire und wireplumber?</translation>
    </message>
    <message>
        <source>A window...</source>
        <translation>Ein Fenster...</translation>
    </message>
    <message>
        <source>The desktop ended the sharing before it began.</source>
        <translation>Der Desktop hat das Teilen beendet, bevor es begann.</translation>
    </message>
    <message>
        <source>Windows cannot be shared, because there is no X11 display.</source>
        <translation>Fenster lassen sich nicht freigeben, denn es gibt keine X11-Anzeige.</translation>
    </message>
    <message>
        <source>Windows cannot be shared from a display without 24-bit colours.</source>
        <translation>Von einer Anzeige ohne 24-Bit-Farben lassen sich keine Fenster freigeben.</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Warnung</translation>
    </message>
    <message>
        <source>Note</source>
        <translation>Hinweis</translation>
    </message>
    <message>
        <source>You are invited to the meeting %1 at %2. Type your handle and password for that service (at somebody&apos;s own computer: choose both), then press Enter.</source>
        <translation>Sie sind zur Besprechung %1 bei %2 eingeladen. Geben Sie Benutzername und Passwort für diesen Dienst ein (beim Computer eines anderen: wählen Sie beide) und drücken Sie dann die Eingabetaste.</translation>
    </message>
    <message>
        <source>This invitation names another key for the service %1 than the one that you accepted before. The accepted key stays the only one that is believed. Ask the service&apos;s operator which one is right.
Accepted: %2
Invitation: %3</source>
        <translation>Diese Einladung nennt für den Dienst %1 einen anderen Schlüssel als den, den Sie früher angenommen haben. Nur dem angenommenen wird weiter geglaubt. Fragen Sie den Betreiber des Dienstes, welcher stimmt.
Angenommen: %2
Einladung: %3</translation>
    </message>
    <message>
        <source>The meeting %1 was last at this service: %2.</source>
        <translation>Die Besprechung %1 war zuletzt bei diesem Dienst: %2.</translation>
    </message>
    <message>
        <source>The invitation has a &quot;%&quot; that stands for nothing.</source>
        <translation>Die Einladung enthält ein „%“, das für nichts steht.</translation>
    </message>
    <message>
        <source>The invitation&apos;s host is no IPv6 address.</source>
        <translation>Der Rechner in der Einladung ist keine IPv6-Adresse.</translation>
    </message>
    <message>
        <source>The invitation&apos;s host names no network that there can be.</source>
        <translation>Der Rechner in der Einladung nennt kein mögliches Netz.</translation>
    </message>
    <message>
        <source>The invitation&apos;s host is no name that there can be.</source>
        <translation>Der Rechner in der Einladung hat keinen möglichen Namen.</translation>
    </message>
    <message>
        <source>The invitation&apos;s host is no IPv4 address.</source>
        <translation>Der Rechner in der Einladung ist keine IPv4-Adresse.</translation>
    </message>
    <message>
        <source>The invitation&apos;s port is no number from 1 to 65535.</source>
        <translation>Der Port in der Einladung ist keine Zahl von 1 bis 65535.</translation>
    </message>
    <message>
        <source>An invitation holds no user name or password.</source>
        <translation>Eine Einladung enthält keinen Benutzernamen und kein Passwort.</translation>
    </message>
    <message>
        <source>The invitation names no host.</source>
        <translation>Die Einladung nennt keinen Rechner.</translation>
    </message>
    <message>
        <source>The invitation names no meeting code.</source>
        <translation>Die Einladung nennt keinen Besprechungscode.</translation>
    </message>
    <message>
        <source>The invitation&apos;s meeting code is none: it must be 6 to 20 letters (A to Z) and digits.</source>
        <translation>Der Besprechungscode in der Einladung ist keiner: Er muss aus 6 bis 20 Buchstaben (A bis Z) und Ziffern bestehen.</translation>
    </message>
    <message>
        <source>The invitation&apos;s fingerprint is not whole: it must be &quot;sha256:&quot; and 64 digits.</source>
        <translation>Der Fingerabdruck in der Einladung ist nicht vollständig: Er muss aus „sha256:“ und 64 Ziffern bestehen.</translation>
    </message>
    <message>
        <source>The invitation is too long to be one.</source>
        <translation>Die Einladung ist zu lang, um eine zu sein.</translation>
    </message>
    <message>
        <source>That is too long to be an invitation.</source>
        <translation>Das ist zu lang, um eine Einladung zu sein.</translation>
    </message>
    <message>
        <source>There is no invitation in it.</source>
        <translation>Darin ist keine Einladung.</translation>
    </message>
    <message>
        <source>There is more than one invitation in it: paste one alone.</source>
        <translation>Darin ist mehr als eine Einladung: Fügen Sie eine allein ein.</translation>
    </message>
    <message>
        <source>Come into the meeting %1 in Quorvia: open this link, or paste it as the meeting code. %2</source>
        <translation>Kommen Sie in Quorvia in die Besprechung %1: Öffnen Sie diesen Link oder fügen Sie ihn als Besprechungscode ein. %2</translation>
    </message>
    <message>
        <source>at %1</source>
        <translation>bei %1</translation>
    </message>
    <message>
        <source>Let Others In</source>
        <translation>Andere einlassen</translation>
    </message>
    <message>
        <source>Invitation</source>
        <translation>Einladung</translation>
    </message>
    <message>
        <source>&amp;Let Others In</source>
        <translation>&amp;Andere einlassen</translation>
    </message>
    <message>
        <source>&amp;Copy Invitation</source>
        <translation>Einladung &amp;kopieren</translation>
    </message>
    <message>
        <source>&amp;Stop Letting In</source>
        <translation>Nicht &amp;mehr einlassen</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Others on your local network can come into this meeting while you are in it, and into no other one. They need the invitation, which names the meeting code: choose another code if strangers could guess it. Everybody chooses a handle and a password for this meeting; nobody gets in by yours. Whoever is on your network can see that a meeting is open here.

It ends when you leave the meeting, or with &quot;Stop Letting In&quot;: then everybody from outside is gone.</source>
        <translation>Andere in Ihrem lokalen Netz können in diese Besprechung kommen, solange Sie darin sind, und in keine andere. Sie brauchen die Einladung, die den Besprechungscode nennt: Wählen Sie einen anderen Code, wenn Fremde ihn erraten könnten. Jeder wählt Benutzername und Passwort für diese Besprechung; mit Ihrem kommt niemand herein. Wer in Ihrem Netz ist, kann sehen, dass hier eine Besprechung offen ist.

Es endet, wenn Sie die Besprechung verlassen, oder mit „Nicht mehr einlassen“: Dann sind alle von außen fort.</translation>
    </message>
    <message>
        <source>The meeting is open to your local network, until you leave it or choose &quot;Stop Letting In&quot;. Pass this invitation on:</source>
        <translation>Die Besprechung ist für Ihr lokales Netz offen, bis Sie sie verlassen oder „Nicht mehr einlassen“ wählen. Geben Sie diese Einladung weiter:</translation>
    </message>
    <message>
        <source>(This computer is on no network: only people at it can use the invitation.)</source>
        <translation>(Dieser Computer ist in keinem Netz: Nur wer an ihm sitzt, kann die Einladung benutzen.)</translation>
    </message>
    <message>
        <source>Or, from another network of yours: %1</source>
        <translation>Oder aus einem anderen Netz von Ihnen: %1</translation>
    </message>
    <message>
        <source>The meeting is open to your local network.</source>
        <translation>Die Besprechung ist für Ihr lokales Netz offen.</translation>
    </message>
    <message>
        <source>You are in no meeting. Enter one with &quot;New Meeting...&quot; in the &quot;Meeting&quot; menu.</source>
        <translation>Sie sind in keiner Besprechung. Betreten Sie eine mit dem ersten Eintrag im ersten Menü.</translation>
    </message>
    <message>
        <source>This meeting is at the service %1, where others come in by their accounts there. Pass its invitation on: &quot;Copy Invitation&quot;.</source>
        <translation>Diese Besprechung ist beim Dienst %1, den andere mit ihrem dortigen Konto betreten. Geben Sie ihre Einladung weiter: „Einladung kopieren“.</translation>
    </message>
    <message>
        <source>Copy &amp;Invitation</source>
        <translation>Ein&amp;ladung kopieren</translation>
    </message>
    <message>
        <source>&amp;Let Others In...</source>
        <translation>&amp;Andere einlassen...</translation>
    </message>
    <message>
        <source>Its key has this fingerprint:

%1

Trust it only if the service&apos;s operator, or an invitation that you believe, gave you the same one. It is then remembered. Nothing has been sent so far.</source>
        <translation>Sein Schlüssel hat diesen Fingerabdruck:

%1

Vertrauen Sie ihm nur, wenn der Betreiber des Dienstes oder eine Einladung, der Sie glauben, Ihnen denselben genannt hat. Er wird dann gemerkt. Bisher wurde nichts gesendet.</translation>
    </message>
    <message>
        <source>The same one is announced on your local network. That alone proves nothing: anybody there can announce it.</source>
        <translation>Derselbe wird in Ihrem lokalen Netz angekündigt. Das allein beweist nichts: Jeder dort kann ihn ankündigen.</translation>
    </message>
    <message>
        <source>On your local network another one is announced for it: %1. Do not trust it before its operator has told you why.</source>
        <translation>In Ihrem lokalen Netz wird für ihn ein anderer angekündigt: %1. Vertrauen Sie ihm nicht, bevor sein Betreiber Ihnen gesagt hat, warum.</translation>
    </message>
    <message>
        <source>This meeting is at this computer&apos;s own service, which lets nobody else in. Open it to your local network with &quot;Let Others In...&quot; in the &quot;Meeting&quot; menu.</source>
        <translation>Diese Besprechung ist beim eigenen Dienst dieses Computers, der niemanden sonst einlässt. Öffnen Sie sie für Ihr lokales Netz mit „Andere einlassen...“ im ersten Menü.</translation>
    </message>
    <message>
        <source>The invitation is on the clipboard. Only people at this computer can use it.</source>
        <translation>Die Einladung ist in der Zwischenablage. Nur wer an diesem Computer sitzt, kann sie benutzen.</translation>
    </message>
    <message>
        <source>The invitation is on the clipboard. Paste it where others read it.</source>
        <translation>Die Einladung ist in der Zwischenablage. Fügen Sie sie dort ein, wo andere sie lesen.</translation>
    </message>
    <message>
        <source>Export</source>
        <translation>Exportieren</translation>
    </message>
    <message>
        <source>The &amp;board as it stands</source>
        <translation>&amp;Das Whiteboard, wie es ist</translation>
    </message>
    <message>
        <source>Each board that &amp;Undo reaches</source>
        <translation>&amp;Jedes Whiteboard, das „Rückgängig“ erreicht</translation>
    </message>
    <message>
        <source>The whole &amp;meeting, to be replayed</source>
        <translation>Die &amp;ganze Besprechung, zum Abspielen</translation>
    </message>
    <message>
        <source>PDF (lines and text)</source>
        <translation>PDF (Linien und Text)</translation>
    </message>
    <message>
        <source>SVG (lines and text)</source>
        <translation>SVG (Linien und Text)</translation>
    </message>
    <message>
        <source>PNG (picture)</source>
        <translation>PNG (Bild)</translation>
    </message>
    <message>
        <source>&amp;Export...</source>
        <translation>E&amp;xportieren...</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>&amp;Format:</source>
        <translation>&amp;Format:</translation>
    </message>
    <message>
        <source>A meeting file of Quorvia: what was drawn since you came, and what was said as you could read it, in clear, whispers to you and from you among it. &quot;Meeting &gt; Replay...&quot; plays it.</source>
        <translation>Eine Besprechungsdatei von Quorvia: was gezeichnet wurde, seit Sie da sind, und was gesagt wurde, so wie Sie es lesen konnten, im Klartext, auch was Ihnen und was Sie anderen zugeflüstert haben. „Abspielen...“ im ersten Menü spielt sie ab.</translation>
    </message>
    <message>
        <source>The meeting is too long to be kept whole: its end is missing.</source>
        <translation>Die Besprechung ist zu lang, um ganz behalten zu werden: Ihr Ende fehlt.</translation>
    </message>
    <message>
        <source>A picture for each board, in files with numbers.</source>
        <translation>Ein Bild für jedes Whiteboard, in Dateien mit Nummern.</translation>
    </message>
    <message>
        <source>The board&apos;s pixels. Live pictures are among them and hide what is drawn beneath.</source>
        <translation>Die Pixel des Whiteboards. Laufende Bilder gehören dazu und verdecken, was unter ihnen gezeichnet ist.</translation>
    </message>
    <message>
        <source>Lines stay sharp at any size, text can be searched and copied. Live pictures are not in it.</source>
        <translation>Linien bleiben in jeder Größe scharf, Text kann durchsucht und kopiert werden. Laufende Bilder sind nicht darin.</translation>
    </message>
    <message>
        <source>Each board is a page.</source>
        <translation>Jedes Whiteboard ist eine Seite.</translation>
    </message>
    <message>
        <source>Each board is a file with a number.</source>
        <translation>Jedes Whiteboard ist eine Datei mit einer Nummer.</translation>
    </message>
    <message>
        <source>Meetings</source>
        <translation>Besprechungen</translation>
    </message>
    <message>
        <source>Exported: %1</source>
        <translation>Exportiert: %1</translation>
    </message>
    <message>
        <source>Exported: %1 to %2</source>
        <translation>Exportiert: %1 bis %2</translation>
    </message>
    <message>
        <source>Voice</source>
        <translation>Sprache</translation>
    </message>
    <message>
        <source>No voice: this computer has no sound server.</source>
        <translation>Keine Sprache: Dieser Rechner hat keinen Tonserver.</translation>
    </message>
    <message>
        <source>Nobody hears you: there is no microphone.</source>
        <translation>Niemand hört Sie: Es gibt kein Mikrofon.</translation>
    </message>
    <message>
        <source>No voice: the voice companion has ended.</source>
        <translation>Keine Sprache: Der Sprachbegleiter ist beendet.</translation>
    </message>
    <message>
        <source>You hear nobody: there are no speakers.</source>
        <translation>Sie hören niemanden: Es gibt keine Lautsprecher.</translation>
    </message>
    <message>
        <source>Your microphone is muted. Press to open the voice companion.</source>
        <translation>Ihr Mikrofon ist stummgeschaltet. Drücken öffnet den Sprachbegleiter.</translation>
    </message>
    <message>
        <source>Press to open the voice companion.</source>
        <translation>Drücken öffnet den Sprachbegleiter.</translation>
    </message>
    <message>
        <source>No sound server answers: this computer is silent.</source>
        <translation>Kein Tonserver antwortet: Dieser Rechner ist still.</translation>
    </message>
    <message>
        <source>There is no microphone: you hear and are not heard.</source>
        <translation>Es gibt kein Mikrofon: Sie hören und werden nicht gehört.</translation>
    </message>
    <message>
        <source>There are no speakers: you are heard and do not hear.</source>
        <translation>Es gibt keine Lautsprecher: Sie werden gehört und hören nicht.</translation>
    </message>
    <message>
        <source>Muted: nobody hears you</source>
        <translation>Stumm: Niemand hört Sie</translation>
    </message>
    <message>
        <source>&amp;Mute my microphone</source>
        <translation>&amp;Mein Mikrofon stummschalten</translation>
    </message>
    <message>
        <source>Level of your microphone</source>
        <translation>Pegel Ihres Mikrofons</translation>
    </message>
    <message>
        <source>When I speak</source>
        <translation>Wenn ich spreche</translation>
    </message>
    <message>
        <source>While I hold the button or the space bar here</source>
        <translation>Solange ich den Knopf oder hier die Leertaste halte</translation>
    </message>
    <message>
        <source>&amp;I am heard:</source>
        <translation>Man &amp;hört mich:</translation>
    </message>
    <message>
        <source>Hold to &amp;Talk</source>
        <translation>Halten zum &amp;Reden</translation>
    </message>
    <message>
        <source>Mi&amp;crophone:</source>
        <translation>Mi&amp;krofon:</translation>
    </message>
    <message>
        <source>&amp;Speakers:</source>
        <translation>Laut&amp;sprecher:</translation>
    </message>
    <message>
        <source>Take out the &amp;echo of the speakers</source>
        <translation>&amp;Echo der Lautsprecher herausnehmen</translation>
    </message>
    <message>
        <source>Take out &amp;noise</source>
        <translation>&amp;Geräusche herausnehmen</translation>
    </message>
    <message>
        <source>Make me as &amp;loud as others</source>
        <translation>Mich so &amp;laut machen wie andere</translation>
    </message>
    <message>
        <source>Hear &amp;Yourself</source>
        <translation>Sich se&amp;lbst hören</translation>
    </message>
    <message>
        <source>Plays what you say a second later; meanwhile nobody else hears you.</source>
        <translation>Spielt eine Sekunde später, was Sie sagen; solange hört Sie sonst niemand.</translation>
    </message>
    <message>
        <source>Check &quot;Talk&quot; in the meeting to talk with those who are there.</source>
        <translation>Wählen Sie in der Besprechung „Talk“, um mit den Anwesenden zu reden.</translation>
    </message>
    <message>
        <source>I am heard:</source>
        <translation>Man hört mich:</translation>
    </message>
    <message>
        <source>Microphone:</source>
        <translation>Mikrofon:</translation>
    </message>
    <message>
        <source>Speakers:</source>
        <translation>Lautsprecher:</translation>
    </message>
    <message>
        <source>Started by hand: there is no meeting here. Quorvia starts this program itself.</source>
        <translation>Von Hand gestartet: Hier ist keine Besprechung. Quorvia startet dieses Programm selbst.</translation>
    </message>
    <message>
        <source>Quorvia has ended. This program ends in a moment.</source>
        <translation>Quorvia ist beendet. Dieses Programm endet gleich.</translation>
    </message>
    <message>
        <source>The connection to the service is cut. It comes back by itself.</source>
        <translation>Die Verbindung zum Dienst ist unterbrochen. Sie kommt von selbst wieder.</translation>
    </message>
    <message>
        <source>Quorvia is not in a meeting.</source>
        <translation>Quorvia ist in keiner Besprechung.</translation>
    </message>
    <message>
        <source>In the meeting as %1</source>
        <comment>handle</comment>
        <translation>In der Besprechung als %1</translation>
    </message>
    <message>
        <source>Level of %1</source>
        <comment>handle</comment>
        <translation>Pegel von %1</translation>
    </message>
    <message>
        <source>Volume of %1</source>
        <comment>handle</comment>
        <translation>Lautstärke von %1</translation>
    </message>
    <message>
        <source>Mute</source>
        <translation>Stumm</translation>
    </message>
    <message>
        <source>Mute %1</source>
        <comment>handle</comment>
        <translation>%1 stummschalten</translation>
    </message>
    <message>
        <source>What the desktop has chosen</source>
        <translation>Was der Desktop gewählt hat</translation>
    </message>
    <message>
        <source>%1 (not plugged in)</source>
        <comment>device</comment>
        <translation>%1 (nicht angeschlossen)</translation>
    </message>
    <message>
        <source>Replay: %1</source>
        <translation>Abspielen: %1</translation>
    </message>
    <message>
        <source>Place in the meeting</source>
        <translation>Stelle in der Besprechung</translation>
    </message>
    <message>
        <source>&amp;Back</source>
        <translation>&amp;Zurück</translation>
    </message>
    <message>
        <source>&amp;Forward</source>
        <translation>&amp;Vor</translation>
    </message>
    <message>
        <source>&amp;Take This Board Into the Meeting</source>
        <translation>Dieses Whiteboard in die Besprechung &amp;übernehmen</translation>
    </message>
    <message>
        <source>Everybody gets it as one picture, which one Undo takes away.</source>
        <translation>Alle bekommen es als ein Bild, das einmal „Rückgängig“ wieder wegnimmt.</translation>
    </message>
    <message>
        <source>Speed</source>
        <translation>Tempo</translation>
    </message>
    <message>
        <source>Speed; long pauses are shortened</source>
        <translation>Tempo; lange Pausen werden verkürzt</translation>
    </message>
    <message>
        <source>%1 of %2</source>
        <comment>how many changes have happened</comment>
        <translation>%1 von %2</translation>
    </message>
    <message>
        <source>Reading the file: %1 %</source>
        <translation>Die Datei wird gelesen: %1 %</translation>
    </message>
    <message>
        <source>Part of the file is damaged or missing.</source>
        <translation>Ein Teil der Datei ist beschädigt oder fehlt.</translation>
    </message>
    <message>
        <source>&amp;Pause</source>
        <translation>&amp;Pause</translation>
    </message>
    <message>
        <source>&amp;Play</source>
        <translation>&amp;Abspielen</translation>
    </message>
    <message>
        <source>The board was taken into the meeting. Undo takes it away.</source>
        <translation>Das Whiteboard ist in der Besprechung. „Rückgängig“ nimmt es wieder weg.</translation>
    </message>
    <message>
        <source>Replay</source>
        <translation>Abspielen</translation>
    </message>
    <message>
        <source>&amp;Replay...</source>
        <translation>Abs&amp;pielen...</translation>
    </message>
</context>
<context>
    <name>Preferences</name>
    <message>
        <source>Erase</source>
        <translation>Radieren</translation>
    </message>
    <message>
        <source>Draw</source>
        <translation>Zeichnen</translation>
    </message>
    <message>
        <source>Shape</source>
        <translation>Form</translation>
    </message>
    <message>
        <source>Text</source>
        <translation>Text</translation>
    </message>
    <message>
        <source>Video</source>
        <translation>Video</translation>
    </message>
    <message>
        <source>None</source>
        <translation>Keines</translation>
    </message>
    <message>
        <source>Pen</source>
        <translation>Stift</translation>
    </message>
    <message>
        <source>Line</source>
        <translation>Linie</translation>
    </message>
    <message>
        <source>Point</source>
        <translation>Zeiger</translation>
    </message>
    <message>
        <source>Box</source>
        <translation>Rechteck</translation>
    </message>
    <message>
        <source>Circle</source>
        <translation>Kreis</translation>
    </message>
    <message>
        <source>As this computer, with English menus</source>
        <translation>Wie dieser Computer, Menüs englisch</translation>
    </message>
    <message>
        <source>&amp;Encrypt what I write</source>
        <translation>&amp;Verschlüsseln, was ich schreibe</translation>
    </message>
    <message>
        <source>Chat lines are enciphered, under the service&apos;s key or your own. It is an old cipher; the connection itself is always encrypted.</source>
        <translation>Chatzeilen werden mit dem Schlüssel des Dienstes oder Ihrem eigenen verschlüsselt. Das Verfahren ist alt; die Verbindung selbst ist immer verschlüsselt.</translation>
    </message>
    <message>
        <source>Encrypt with my &amp;own key</source>
        <translation>Mit dem &amp;eigenen Schlüssel verschlüsseln</translation>
    </message>
    <message>
        <source>Uses the key below instead of the service&apos;s. Whoever is to read you needs the same one.</source>
        <translation>Nimmt den Schlüssel unten statt dem des Dienstes. Wer mitlesen soll, braucht denselben.</translation>
    </message>
    <message>
        <source>Own &amp;key:</source>
        <translation>Eigener &amp;Schlüssel:</translation>
    </message>
    <message>
        <source>Letters and digits. The first 20 count, as hexadecimal digits. Empty: the key that every Quorvia has built in.</source>
        <translation>Buchstaben und Ziffern. Die ersten 20 zählen, als hexadezimale Ziffern. Leer: der Schlüssel, der in jedem Quorvia steckt.</translation>
    </message>
    <message>
        <source>Keep chat &amp;logs</source>
        <translation>&amp;Chatprotokolle führen</translation>
    </message>
    <message>
        <source>Writes down what you say, one file for each person you say it to.</source>
        <translation>Schreibt mit, was Sie sagen, in eine Datei für jeden, dem Sie es sagen.</translation>
    </message>
    <message>
        <source>Log fol&amp;der:</source>
        <translation>&amp;Ordner der Protokolle:</translation>
    </message>
    <message>
        <source>Where the logs are. Empty: the folder &quot;Zephyl Logs&quot; among your documents.</source>
        <translation>Wo die Protokolle liegen. Leer: der Ordner „Zephyl Logs“ bei Ihren Dokumenten.</translation>
    </message>
    <message>
        <source>Lar&amp;gest log:</source>
        <translation>&amp;Größtes Protokoll:</translation>
    </message>
    <message>
        <source>A log that has grown beyond this loses its oldest lines.</source>
        <translation>Ein Protokoll, das größer geworden ist, verliert seine ältesten Zeilen.</translation>
    </message>
    <message>
        <source> bytes</source>
        <translation> Bytes</translation>
    </message>
    <message>
        <source>&amp;Tool to take up:</source>
        <translation>&amp;Werkzeug am Anfang:</translation>
    </message>
    <message>
        <source>Chosen when the window opens, and again whenever you come back to it from another program. The close box stores the tool that is chosen by then.</source>
        <translation>Wird gewählt, wenn sich das Fenster öffnet, und wieder, wenn Sie aus einem anderen Programm zurückkommen. Der Schließknopf merkt sich das dann gewählte Werkzeug.</translation>
    </message>
    <message>
        <source>&amp;Draw with:</source>
        <translation>&amp;Zeichnen mit:</translation>
    </message>
    <message>
        <source>&amp;Shape:</source>
        <translation>&amp;Form:</translation>
    </message>
    <message>
        <source>&amp;Colour:</source>
        <translation>F&amp;arbe:</translation>
    </message>
    <message>
        <source>Line &amp;width:</source>
        <translation>&amp;Linienbreite:</translation>
    </message>
    <message>
        <source>Te&amp;xt font:</source>
        <translation>&amp;Schriftart:</translation>
    </message>
    <message>
        <source>Text si&amp;ze:</source>
        <translation>Schrift&amp;größe:</translation>
    </message>
    <message>
        <source> points</source>
        <translation> Punkt</translation>
    </message>
    <message>
        <source>&amp;Bold text</source>
        <translation>Fe&amp;tter Text</translation>
    </message>
    <message>
        <source>&amp;Italic text</source>
        <translation>&amp;Kursiver Text</translation>
    </message>
    <message>
        <source>Text struck throu&amp;gh</source>
        <translation>&amp;Durchgestrichener Text</translation>
    </message>
    <message>
        <source>&amp;Underlined text</source>
        <translation>&amp;Unterstrichener Text</translation>
    </message>
    <message>
        <source>&amp;Do not use the camera</source>
        <translation>&amp;Kamera nicht benutzen</translation>
    </message>
    <message>
        <source>No picture of you is taken or sent, and the preview stays empty.</source>
        <translation>Von Ihnen wird kein Bild aufgenommen oder gesendet, und die Vorschau bleibt leer.</translation>
    </message>
    <message>
        <source>&amp;Video from:</source>
        <translation>&amp;Video von:</translation>
    </message>
    <message>
        <source>A camera of this computer, a Y4M or MJPEG file that is played again and again, or a test picture.</source>
        <translation>Eine Kamera dieses Computers, eine Datei in Y4M oder MJPEG, die immer wieder von vorn läuft, oder ein Testbild.</translation>
    </message>
    <message>
        <source>The time from one picture to the next while the frame-rate slider stands at 0.</source>
        <translation>Die Zeit von einem Bild zum nächsten, wenn der Regler der Bildrate auf 0 steht.</translation>
    </message>
    <message>
        <source> milliseconds</source>
        <translation> Millisekunden</translation>
    </message>
    <message>
        <source>no pictures</source>
        <translation>keine Bilder</translation>
    </message>
    <message>
        <source>The time from one picture of a shared window to the next. Moving the frame-rate slider while you share sets another one until sharing starts again.</source>
        <translation>Die Zeit von einem Bild eines freigegebenen Fensters zum nächsten. Wer währenddessen den Regler der Bildrate bewegt, stellt bis zur nächsten Freigabe eine andere ein.</translation>
    </message>
    <message>
        <source>&amp;Use the voice companion</source>
        <translation>Sprach&amp;begleiter benutzen</translation>
    </message>
    <message>
        <source>&quot;Talk&quot; is there only with it. The companion is the program &quot;Voktal&quot; in Quorvia&apos;s own folder.</source>
        <translation>Nur mit ihm kann man reden. Der Begleiter ist das Programm „Voktal“ im Ordner von Quorvia.</translation>
    </message>
    <message>
        <source>&amp;Hide its window</source>
        <translation>Sein Fenster &amp;ausblenden</translation>
    </message>
    <message>
        <source>The companion works without showing itself.</source>
        <translation>Der Begleiter arbeitet, ohne sich zu zeigen.</translation>
    </message>
    <message>
        <source>&amp;Port:</source>
        <translation>&amp;Port:</translation>
    </message>
    <message>
        <source>Where the companions of the others listen. Counts for everybody with whom you start to talk from then on.</source>
        <translation>Wo die Begleiter der anderen erreichbar sind. Gilt für alle, mit denen Sie von da an zu reden beginnen.</translation>
    </message>
    <message>
        <source>&amp;Others may control my view</source>
        <translation>&amp;Andere dürfen meine Ansicht steuern</translation>
    </message>
    <message>
        <source>They can then resize and scroll your window and set your frame rate. Without it, what they ask for is left out.</source>
        <translation>Sie können dann die Größe Ihres Fensters ändern, es verschieben und Ihre Bildrate einstellen. Sonst bleibt aus, worum sie bitten.</translation>
    </message>
    <message>
        <source>&amp;Language:</source>
        <translation>&amp;Sprache:</translation>
    </message>
    <message>
        <source>&amp;Use at the next start:</source>
        <translation>Beim nächsten Start &amp;benutzen:</translation>
    </message>
    <message>
        <source>The configuration that the login dialog offers first. It belongs to no configuration.</source>
        <translation>Die Konfiguration, die bei der Anmeldung zuerst angeboten wird. Dies gehört zu keiner Konfiguration.</translation>
    </message>
    <message>
        <source>in the login dialog (&quot;Meeting&quot;, &quot;New Meeting...&quot;)</source>
        <translation>bei der Anmeldung (erster Eintrag im ersten Menü)</translation>
    </message>
    <message>
        <source>the button beside your video</source>
        <translation>der Knopf neben Ihrem Video</translation>
    </message>
    <message>
        <source>the sliders beside your video</source>
        <translation>die Regler neben Ihrem Video</translation>
    </message>
    <message>
        <source>move the window; &quot;Exit&quot; remembers where it is</source>
        <translation>Fenster verschieben; beim Beenden über das Menü merkt es sich seinen Platz</translation>
    </message>
    <message>
        <source>Chat</source>
        <translation>Chat</translation>
    </message>
    <message>
        <source>Drawing</source>
        <translation>Zeichnen</translation>
    </message>
    <message>
        <source>Pictures</source>
        <translation>Bilder</translation>
    </message>
    <message>
        <source>Voice</source>
        <translation>Sprache</translation>
    </message>
    <message>
        <source>Meeting</source>
        <translation>Besprechung</translation>
    </message>
    <message>
        <source>Configurations</source>
        <translation>Konfigurationen</translation>
    </message>
    <message>
        <source>Acts when the companion is started next.</source>
        <translation>Wirkt, wenn der Begleiter das nächste Mal gestartet wird.</translation>
    </message>
    <message>
        <source>Acts at the next start.</source>
        <translation>Wirkt beim nächsten Start.</translation>
    </message>
    <message>
        <source>This holds characters that cannot be seen.</source>
        <translation>Das enthält Zeichen, die man nicht sehen kann.</translation>
    </message>
    <message>
        <source>A folder is named from the root on, as in &quot;/home/ann/logs&quot;.</source>
        <translation>Ein Ordner wird von der Wurzel an genannt, wie in „/home/ann/logs“.</translation>
    </message>
    <message>
        <source>A file is named from the root on, as in &quot;/home/ann/clip.y4m&quot;.</source>
        <translation>Eine Datei wird von der Wurzel an genannt, wie in „/home/ann/clip.y4m“.</translation>
    </message>
    <message>
        <source>A configuration needs a name.</source>
        <translation>Eine Konfiguration braucht einen Namen.</translation>
    </message>
    <message>
        <source>A name has at most %1 characters.</source>
        <translation>Ein Name hat höchstens %1 Zeichen.</translation>
    </message>
    <message>
        <source>A name holds no &quot;\&quot;, no &quot;/&quot; and nothing that cannot be seen.</source>
        <translation>Ein Name enthält weder „\“ noch „/“ noch etwas, das man nicht sehen kann.</translation>
    </message>
    <message>
        <source>This is the name of the configuration that is always there.</source>
        <translation>So heißt die Konfiguration, die es immer gibt.</translation>
    </message>
    <message>
        <source>There is a configuration of this name.</source>
        <translation>Es gibt schon eine Konfiguration dieses Namens.</translation>
    </message>
    <message>
        <source>What the Draw tool draws.</source>
        <translation>Was das Werkzeug „Zeichnen“ zeichnet.</translation>
    </message>
    <message>
        <source>What the Shape tool draws.</source>
        <translation>Was das Werkzeug „Form“ zeichnet.</translation>
    </message>
    <message>
        <source>Of lines, shapes and text.</source>
        <translation>Für Linien, Formen und Text.</translation>
    </message>
    <message>
        <source>Of lines and shapes.</source>
        <translation>Für Linien und Formen.</translation>
    </message>
    <message>
        <source>Of text on the board. One that is not installed gives way to another.</source>
        <translation>Für Text auf dem Whiteboard. Ist sie nicht installiert, tritt eine andere an ihre Stelle.</translation>
    </message>
    <message>
        <source>Of text on the board.</source>
        <translation>Für Text auf dem Whiteboard.</translation>
    </message>
    <message>
        <source>On the board.</source>
        <translation>Auf dem Whiteboard.</translation>
    </message>
    <message>
        <source>Slo&amp;west video, every:</source>
        <translation>&amp;Langsamstes Video, alle:</translation>
    </message>
    <message>
        <source>&amp;Shared window, every:</source>
        <translation>&amp;Freigegebenes Fenster, alle:</translation>
    </message>
    <message>
        <source>The meeting window opens with these. Its close box stores the tools that are chosen by then.</source>
        <translation>Damit öffnet sich das Fenster der Besprechung. Wird es mit seinem Schließknopf geschlossen, merkt es sich die dann gewählten Werkzeuge.</translation>
    </message>
    <message>
        <source>1 pixel</source>
        <translation>1 Pixel</translation>
    </message>
    <message>
        <source>%1 pixels</source>
        <translation>%1 Pixel</translation>
    </message>
    <message>
        <source>built in</source>
        <translation>eingebaut</translation>
    </message>
    <message>
        <source>Show</source>
        <translation>Zeigen</translation>
    </message>
    <message>
        <source>Show &quot;%1&quot;</source>
        <translation>„%1“ zeigen</translation>
    </message>
    <message>
        <source>Browse...</source>
        <translation>Durchsuchen...</translation>
    </message>
    <message>
        <source>Browse for &quot;%1&quot;</source>
        <translation>„%1“ suchen</translation>
    </message>
    <message>
        <source>Video from a File</source>
        <translation>Video aus einer Datei</translation>
    </message>
    <message>
        <source>Videos</source>
        <translation>Videos</translation>
    </message>
    <message>
        <source>File that the video comes from</source>
        <translation>Datei, aus der das Video kommt</translation>
    </message>
    <message>
        <source>A camera</source>
        <translation>Eine Kamera</translation>
    </message>
    <message>
        <source>A test picture</source>
        <translation>Ein Testbild</translation>
    </message>
    <message>
        <source>A file</source>
        <translation>Eine Datei</translation>
    </message>
    <message>
        <source>Show the &amp;time of each line</source>
        <translation>&amp;Uhrzeit jeder Zeile zeigen</translation>
    </message>
    <message>
        <source>Beside each line stands when it was said, and the date where a new day begins. Neither is part of the text that is copied.</source>
        <translation>Neben jeder Zeile steht, wann sie geschrieben wurde, und wo ein neuer Tag beginnt, das Datum. Beides gehört nicht zum Text, der kopiert wird.</translation>
    </message>
    <message>
        <source>&amp;Mark new lines</source>
        <translation>Neue &amp;Zeilen anzeigen</translation>
    </message>
    <message>
        <source>When somebody says something while the window is behind, the window&apos;s title and its place in the taskbar show it.</source>
        <translation>Sagt jemand etwas, während das Fenster im Hintergrund ist, zeigen es der Titel des Fensters und die Taskleiste.</translation>
    </message>
    <message>
        <source>Play a &amp;sound for new lines</source>
        <translation>&amp;Ton bei neuen Zeilen</translation>
    </message>
    <message>
        <source>A short sound when somebody says something while the window is behind.</source>
        <translation>Ein kurzer Ton, wenn jemand etwas sagt, während das Fenster im Hintergrund ist.</translation>
    </message>
    <message>
        <source>%1 (missing)</source>
        <translation>%1 (fehlt)</translation>
    </message>
    <message>
        <source>Menus, captions and messages that every Quorvia has are English unless you choose a language here; everything else follows this computer. It belongs to no configuration.</source>
        <translation>Menüs, Beschriftungen und Meldungen, die jedes Quorvia hat, sind englisch, solange Sie hier keine Sprache wählen; alles andere richtet sich nach diesem Computer. Dies gehört zu keiner Konfiguration.</translation>
    </message>
    <message>
        <source>HTTP &amp;polling, every:</source>
        <translation>HTTP-Ab&amp;frage, alle:</translation>
    </message>
    <message>
        <source>With the protocol HTTP the service holds a question for so long when it has nothing to tell; what comes is told at once all the same. From the next login on.</source>
        <translation>Mit dem Protokoll HTTP hält der Dienst eine Frage so lange zurück, wenn er nichts zu sagen hat; was kommt, wird trotzdem sofort gemeldet. Ab der nächsten Anmeldung.</translation>
    </message>
    <message>
        <source> seconds</source>
        <translation> Sekunden</translation>
    </message>
    <message>
        <source>HTTP pro&amp;xy:</source>
        <translation>HTTP-Pro&amp;xy:</translation>
    </message>
    <message>
        <source>What the protocol HTTP goes through, as http://HOST:PORT, with NAME:PASSWORD@ before the host where it asks for them. Empty: what HTTPS_PROXY in this computer&apos;s environment says. &quot;direct&quot;: nothing. From the next login on.</source>
        <translation>Wodurch das Protokoll HTTP geht, als http://HOST:PORT, mit NAME:PASSWORT@ vor dem Rechner, wo er danach fragt. Leer: was HTTPS_PROXY in der Umgebung dieses Computers sagt. „direct“: nichts. Ab der nächsten Anmeldung.</translation>
    </message>
    <message>
        <source>the voice companion&apos;s window: the microphone below the whiteboard</source>
        <translation>im Fenster des Sprachbegleiters: das Mikrofon unter der Tafel</translation>
    </message>
    <message>
        <source>&amp;Ink stays above live pictures</source>
        <translation>&amp;Gezeichnetes bleibt über laufenden Bildern</translation>
    </message>
    <message>
        <source>On your screen, cameras and shared windows lie beneath what is drawn: their next picture wipes nothing, Erase and Clear leave them, and one that has stopped goes away. What is saved is the same with and without.</source>
        <translation>Auf Ihrem Bildschirm liegen Kameras und freigegebene Fenster unter dem, was gezeichnet ist: ihr nächstes Bild wischt nichts weg, Radieren und Leeren lassen sie stehen, und eines, das nicht mehr läuft, verschwindet. Was gespeichert wird, ist mit und ohne dasselbe.</translation>
    </message>
</context>
<context>
    <name>Prompts</name>
    <message>
        <source>Open this address of %1 in your web browser?</source>
        <translation>Diese Adresse von %1 in Ihrem Browser öffnen?</translation>
    </message>
    <message>
        <source>Open this invitation to a meeting at %1?</source>
        <translation>Diese Einladung zu einer Besprechung bei %1 öffnen?</translation>
    </message>
    <message>
        <source>&amp;Open</source>
        <translation>&amp;Öffnen</translation>
    </message>
    <message>
        <source>&amp;Do Not Open</source>
        <translation>&amp;Nicht öffnen</translation>
    </message>
</context>
<context>
    <name>Said</name>
    <message>
        <source>Not in a meeting</source>
        <translation>In keiner Besprechung</translation>
    </message>
    <message>
        <source>Cut off, trying again: %1</source>
        <translation>Verbindung unterbrochen, neuer Versuch: %1</translation>
    </message>
    <message>
        <source>Receiving the board: %1 %</source>
        <translation>Whiteboard wird empfangen: %1 %</translation>
    </message>
    <message>
        <source>The connection is back.</source>
        <translation>Die Verbindung steht wieder.</translation>
    </message>
    <message>
        <source>Back in the meeting.</source>
        <translation>Wieder in der Besprechung.</translation>
    </message>
    <message>
        <source>%1 (and %2 more remarks)</source>
        <translation>%1 (und %2 weitere Hinweise)</translation>
    </message>
    <message>
        <source>At the relay %1: %2</source>
        <translation>Am Relay %1: %2</translation>
    </message>
    <message>
        <source>%1, round trip %2 ms, %3 bytes sent, %4 bytes received</source>
        <translation>%1, Umlaufzeit %2 ms, %3 Bytes gesendet, %4 Bytes empfangen</translation>
    </message>
    <message>
        <source>%1, %2 bytes sent, %3 bytes received</source>
        <translation>%1, %2 Bytes gesendet, %3 Bytes empfangen</translation>
    </message>
    <message>
        <source>TLS over TCP</source>
        <translation>TLS über TCP</translation>
    </message>
    <message>
        <source>HTTP inside TLS</source>
        <translation>HTTP in TLS</translation>
    </message>
    <message>
        <source>TLS over TCP; live pictures by UDP (lost: %1 % up and %2 % down)</source>
        <translation>TLS über TCP; Livebilder über UDP (verloren: %1 % gesendet und %2 % empfangen)</translation>
    </message>
    <message>
        <source>TLS over TCP; own live pictures by UDP (lost: %1 % up and %2 % down)</source>
        <translation>TLS über TCP; eigene Livebilder über UDP (verloren: %1 % gesendet und %2 % empfangen)</translation>
    </message>
    <message>
        <source>TLS over TCP; live pictures of others by UDP (lost: %1 % up and %2 % down)</source>
        <translation>TLS über TCP; Livebilder anderer über UDP (verloren: %1 % gesendet und %2 % empfangen)</translation>
    </message>
    <message>
        <source>TLS over TCP; live pictures, too: UDP does not pass</source>
        <translation>TLS über TCP; auch Livebilder: UDP kommt nicht durch</translation>
    </message>
    <message>
        <source>The service did not hear that the meeting was left: %1</source>
        <translation>Der Dienst hat nicht erfahren, dass die Besprechung verlassen wurde: %1</translation>
    </message>
    <message>
        <source>Not delivered: %1.</source>
        <translation>Nicht zugestellt: %1.</translation>
    </message>
    <message>
        <source>%1; %2</source>
        <translation>%1; %2</translation>
    </message>
    <message>
        <source>1 line to %1</source>
        <translation>1 Zeile an %1</translation>
    </message>
    <message>
        <source>%1 lines to %2</source>
        <translation>%1 Zeilen an %2</translation>
    </message>
    <message>
        <source>1 drawing to %1</source>
        <translation>1 Zeichnung an %1</translation>
    </message>
    <message>
        <source>%1 drawings to %2</source>
        <translation>%1 Zeichnungen an %2</translation>
    </message>
    <message>
        <source>everyone</source>
        <translation>alle</translation>
    </message>
    <message>
        <source>The key of the service has changed.</source>
        <translation>Der Schlüssel des Dienstes hat sich geändert.</translation>
    </message>
    <message>
        <source>There is no session.</source>
        <translation>Es gibt keine Sitzung.</translation>
    </message>
    <message>
        <source>the service closed the connection</source>
        <translation>der Dienst hat die Verbindung geschlossen</translation>
    </message>
    <message>
        <source>the service does not answer</source>
        <translation>der Dienst antwortet nicht</translation>
    </message>
    <message>
        <source>the service takes nothing</source>
        <translation>der Dienst nimmt nichts an</translation>
    </message>
    <message>
        <source>the connection is lost</source>
        <translation>die Verbindung ist abgerissen</translation>
    </message>
    <message>
        <source>nothing heard for 15 seconds</source>
        <translation>seit 15 Sekunden kommt nichts</translation>
    </message>
    <message>
        <source>nothing was heard behind the return</source>
        <translation>nach der Rückkehr kam nichts</translation>
    </message>
    <message>
        <source>this computer slept</source>
        <translation>dieser Computer hat geschlafen</translation>
    </message>
    <message>
        <source>nobody answers there</source>
        <translation>dort antwortet niemand</translation>
    </message>
    <message>
        <source>no answer</source>
        <translation>keine Antwort</translation>
    </message>
    <message>
        <source>it does not answer the TLS handshake</source>
        <translation>er beantwortet den TLS-Handschlag nicht</translation>
    </message>
    <message>
        <source>it has no address</source>
        <translation>er hat keine Adresse</translation>
    </message>
    <message>
        <source>its name is not answered for</source>
        <translation>sein Name wird nicht aufgelöst</translation>
    </message>
    <message>
        <source>it runs, but does not answer</source>
        <translation>er läuft, antwortet aber nicht</translation>
    </message>
    <message>
        <source>it was started, but does not answer</source>
        <translation>er wurde gestartet, antwortet aber nicht</translation>
    </message>
    <message>
        <source>the program zephyld is not found</source>
        <translation>das Programm zephyld wurde nicht gefunden</translation>
    </message>
    <message>
        <source>zephyld was started and says nothing</source>
        <translation>zephyld wurde gestartet und meldet sich nicht</translation>
    </message>
    <message>
        <source>cannot run zephyld: %1</source>
        <translation>zephyld kann nicht gestartet werden: %1</translation>
    </message>
    <message>
        <source>Connection refused</source>
        <translation>Verbindung abgelehnt</translation>
    </message>
    <message>
        <source>Connection reset by peer</source>
        <translation>Verbindung von der Gegenseite getrennt</translation>
    </message>
    <message>
        <source>Broken pipe</source>
        <translation>Verbindung abgerissen</translation>
    </message>
    <message>
        <source>No route to host</source>
        <translation>kein Weg zum Rechner</translation>
    </message>
    <message>
        <source>Network is unreachable</source>
        <translation>das Netz ist nicht erreichbar</translation>
    </message>
    <message>
        <source>Connection timed out</source>
        <translation>Zeit für die Verbindung überschritten</translation>
    </message>
    <message>
        <source>Name or service not known</source>
        <translation>der Name ist nicht bekannt</translation>
    </message>
    <message>
        <source>Temporary failure in name resolution</source>
        <translation>Namen werden im Moment nicht aufgelöst</translation>
    </message>
    <message>
        <source>You were removed from the meeting.</source>
        <translation>Sie wurden aus der Besprechung entfernt.</translation>
    </message>
    <message>
        <source>The operator of the service has banned you.</source>
        <translation>Der Betreiber des Dienstes hat Sie ausgesperrt.</translation>
    </message>
    <message>
        <source>The operator of the service has closed this meeting.</source>
        <translation>Der Betreiber des Dienstes hat diese Besprechung geschlossen.</translation>
    </message>
    <message>
        <source>The password was changed.</source>
        <translation>Das Passwort wurde geändert.</translation>
    </message>
    <message>
        <source>The account was removed.</source>
        <translation>Der Benutzer wurde entfernt.</translation>
    </message>
    <message>
        <source>This handle may not enter meetings any more.</source>
        <translation>Dieser Benutzername darf keine Besprechungen mehr betreten.</translation>
    </message>
    <message>
        <source>the service restarts</source>
        <translation>der Dienst startet neu</translation>
    </message>
    <message>
        <source>too much was sent</source>
        <translation>es wurde zu viel gesendet</translation>
    </message>
    <message>
        <source>The password has characters that Windows-1252 does not know. Choose another one.</source>
        <translation>Das Passwort enthält Zeichen, die Windows-1252 nicht kennt. Wählen Sie ein anderes.</translation>
    </message>
    <message>
        <source>The camera %1 has been unplugged.</source>
        <translation>Die Kamera %1 wurde abgezogen.</translation>
    </message>
    <message>
        <source>The camera %1 stopped working.</source>
        <translation>Die Kamera %1 arbeitet nicht mehr.</translation>
    </message>
    <message>
        <source>The video file can no longer be read.</source>
        <translation>Die Videodatei lässt sich nicht mehr lesen.</translation>
    </message>
    <message>
        <source>There is no meeting to send to.</source>
        <translation>Es gibt keine Besprechung, in die gesendet werden kann.</translation>
    </message>
    <message>
        <source>Much is waiting to be sent: it goes out by itself.</source>
        <translation>Vieles wartet darauf, gesendet zu werden: Es geht von selbst hinaus.</translation>
    </message>
    <message>
        <source>Something is missing: it was too long ago for the service to keep it. Ask the others.</source>
        <translation>Etwas fehlt: Es ist zu lange her, der Dienst hat es nicht aufgehoben. Fragen Sie die anderen.</translation>
    </message>
    <message>
        <source>Something may be missing: this client was away for too long. Ask the others.</source>
        <translation>Vielleicht fehlt etwas: Dieses Programm war zu lange weg. Fragen Sie die anderen.</translation>
    </message>
    <message>
        <source>The service %1 cannot be reached: %2. Check its address and your network, then try again.</source>
        <translation>Der Dienst %1 ist nicht zu erreichen: %2. Prüfen Sie seine Adresse und Ihr Netz und versuchen Sie es dann erneut.</translation>
    </message>
    <message>
        <source>The service %1 cannot be reached: %2. Check its address and your network, then try again. Where a network lets only web traffic out, &quot;HTTP&quot; among the advanced options may get through.</source>
        <translation>Der Dienst %1 ist nicht zu erreichen: %2. Prüfen Sie seine Adresse und Ihr Netz und versuchen Sie es dann erneut. Wo ein Netz nur Webzugriffe hinauslässt, kommt vielleicht „HTTP“ unter den erweiterten Optionen durch.</translation>
    </message>
    <message>
        <source>The service %1 cannot be reached through the proxy %2: %3. Check both addresses and your network, then try again.</source>
        <translation>Der Dienst %1 ist über den Proxy %2 nicht zu erreichen: %3. Prüfen Sie beide Adressen und Ihr Netz und versuchen Sie es dann erneut.</translation>
    </message>
    <message>
        <source>The proxy cannot be understood: it is written as http://HOST:PORT, with NAME:PASSWORD@ before the host where it asks for them.</source>
        <translation>Der Proxy ist nicht zu verstehen: Er wird als http://HOST:PORT geschrieben, mit NAME:PASSWORT@ vor dem Rechner, wo er danach fragt.</translation>
    </message>
    <message>
        <source>the service does not know this connection any more</source>
        <translation>der Dienst kennt diese Verbindung nicht mehr</translation>
    </message>
    <message>
        <source>the service has too many connections from here that have not logged in</source>
        <translation>der Dienst hat von hier zu viele Verbindungen ohne Anmeldung</translation>
    </message>
    <message>
        <source>it answers with HTTP status %1</source>
        <translation>er antwortet mit dem HTTP-Status %1</translation>
    </message>
    <message>
        <source>no messaging service answers</source>
        <translation>dort antwortet kein Nachrichtendienst</translation>
    </message>
    <message>
        <source>the proxy asks for a name and a password, or does not take those given</source>
        <translation>der Proxy fragt nach Namen und Passwort oder nimmt die angegebenen nicht an</translation>
    </message>
    <message>
        <source>the proxy lets nobody through to there (HTTP status 403); many allow port 443 only</source>
        <translation>der Proxy lässt niemanden dorthin durch (HTTP-Status 403); viele erlauben nur Port 443</translation>
    </message>
    <message>
        <source>the proxy answers with HTTP status %1</source>
        <translation>der Proxy antwortet mit dem HTTP-Status %1</translation>
    </message>
    <message>
        <source>the proxy closed the connection</source>
        <translation>der Proxy hat die Verbindung geschlossen</translation>
    </message>
    <message>
        <source>what answers there is no proxy</source>
        <translation>was dort antwortet, ist kein Proxy</translation>
    </message>
    <message>
        <source>The service of this computer cannot be used: %1. Name another one under &quot;Service:&quot;, or try again.</source>
        <translation>Der Dienst dieses Computers ist nicht zu benutzen: %1. Nennen Sie einen anderen unter „Dienst:“ oder versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>The service %1 changed its key just now. Try again.</source>
        <translation>Der Dienst %1 hat gerade seinen Schlüssel gewechselt. Versuchen Sie es erneut.</translation>
    </message>
    <message>
        <source>The key of the service %1 was not accepted, so nothing was sent. Compare it with what the service&apos;s operator gave you, then try again.</source>
        <translation>Der Schlüssel des Dienstes %1 wurde nicht angenommen, also wurde nichts gesendet. Vergleichen Sie ihn mit dem, was der Betreiber des Dienstes Ihnen gegeben hat, und versuchen Sie es dann erneut.</translation>
    </message>
    <message>
        <source>The key of the service %1 is not the one that was accepted before. Nothing was sent: somebody else may pretend to be it. Ask its operator whether the key was changed. It is now %2.</source>
        <translation>Der Schlüssel des Dienstes %1 ist nicht der, der früher angenommen wurde. Nichts wurde gesendet: Vielleicht gibt sich jemand anderes für ihn aus. Fragen Sie seinen Betreiber, ob der Schlüssel gewechselt wurde. Er ist jetzt %2.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not the address of a service: that is HOST or HOST:PORT, or nothing for this computer.</source>
        <translation>„%1“ ist nicht die Adresse eines Dienstes: Das ist RECHNER oder RECHNER:PORT, oder nichts für diesen Computer.</translation>
    </message>
    <message>
        <source>it does not answer</source>
        <translation>er antwortet nicht</translation>
    </message>
    <message>
        <source>The service does not answer. Try again in a moment.</source>
        <translation>Der Dienst antwortet nicht. Versuchen Sie es gleich noch einmal.</translation>
    </message>
    <message>
        <source>The service speaks another version. Update this program, or ask its operator to update the service.</source>
        <translation>Der Dienst spricht eine andere Version. Aktualisieren Sie dieses Programm oder bitten Sie seinen Betreiber, den Dienst zu aktualisieren.</translation>
    </message>
    <message>
        <source>The service ended the session. Log in again.</source>
        <translation>Der Dienst hat die Sitzung beendet. Melden Sie sich erneut an.</translation>
    </message>
    <message>
        <source>The service refused and does not say why. Ask its operator.</source>
        <translation>Der Dienst hat abgelehnt und sagt nicht, warum. Fragen Sie seinen Betreiber.</translation>
    </message>
    <message>
        <source>The service is busy, or has seen too many wrong tries. Try again in a minute.</source>
        <translation>Der Dienst ist beschäftigt oder hat zu viele falsche Versuche gesehen. Versuchen Sie es in einer Minute erneut.</translation>
    </message>
    <message>
        <source>The handle or the password is wrong: type both again. Where people choose their handles themselves, this one may be taken: choose another one.</source>
        <translation>Benutzername oder Passwort ist falsch: Geben Sie beide noch einmal ein. Wo man seinen Benutzernamen selbst wählt, ist dieser vielleicht vergeben: Wählen Sie einen anderen.</translation>
    </message>
    <message>
        <source>This handle is logged in from another place. Leave there first.</source>
        <translation>Dieser Benutzername ist anderswo angemeldet. Verlassen Sie zuerst die Besprechung dort.</translation>
    </message>
    <message>
        <source>This handle has logged in from another place. Log in again to come back here.</source>
        <translation>Dieser Benutzername hat sich anderswo angemeldet. Melden Sie sich erneut an, um hierher zurückzukommen.</translation>
    </message>
    <message>
        <source>This handle may not enter the meeting. Ask the service&apos;s operator.</source>
        <translation>Dieser Benutzername darf die Besprechung nicht betreten. Fragen Sie den Betreiber des Dienstes.</translation>
    </message>
    <message>
        <source>The meeting code is in use. Join that meeting, or choose another code.</source>
        <translation>Der Besprechungscode wird schon benutzt. Nehmen Sie an jener Besprechung teil oder wählen Sie einen anderen Code.</translation>
    </message>
    <message>
        <source>No meeting has this code. Check it, or start the meeting.</source>
        <translation>Keine Besprechung hat diesen Code. Prüfen Sie ihn oder beginnen Sie die Besprechung.</translation>
    </message>
    <message>
        <source>The meeting has ended. Start it anew, or join another one.</source>
        <translation>Die Besprechung ist zu Ende. Beginnen Sie sie neu oder nehmen Sie an einer anderen teil.</translation>
    </message>
    <message>
        <source>The meeting is full. Meet under another code.</source>
        <translation>Die Besprechung ist voll. Treffen Sie sich unter einem anderen Code.</translation>
    </message>
    <message>
        <source>This service sends no mail. Ask its operator for a new password.</source>
        <translation>Dieser Dienst verschickt keine Post. Bitten Sie seinen Betreiber um ein neues Passwort.</translation>
    </message>
    <message>
        <source>That is longer than a handle, a password and a host name can be. Shorten it.</source>
        <translation>Das ist länger, als Benutzername, Passwort und Rechnername sein können. Kürzen Sie es.</translation>
    </message>
    <message>
        <source>The key of the service %1 is not the one that the invitation names. Nothing was sent: somebody else may pretend to be it. Ask whoever invited you for a new invitation. The key there is %2.</source>
        <translation>Der Schlüssel des Dienstes %1 ist nicht der, den die Einladung nennt. Nichts wurde gesendet: Vielleicht gibt sich jemand anderes für ihn aus. Bitten Sie den, der Sie eingeladen hat, um eine neue Einladung. Der Schlüssel dort ist %2.</translation>
    </message>
    <message>
        <source>Too much is waiting to be sent. Try again when some of it has gone.</source>
        <translation>Zu vieles wartet darauf, gesendet zu werden. Versuchen Sie es erneut, wenn einiges davon hinaus ist.</translation>
    </message>
    <message>
        <source>Another meeting on this computer is open to others already. Leave that one first.</source>
        <translation>Auf diesem Computer ist schon eine andere Besprechung für andere offen. Verlassen Sie zuerst jene.</translation>
    </message>
    <message>
        <source>This computer does not let a program listen on the network just now.</source>
        <translation>Dieser Computer lässt gerade kein Programm im Netz erreichbar sein.</translation>
    </message>
    <message>
        <source>Only a meeting at this computer&apos;s own service can be opened to the local network.</source>
        <translation>Nur eine Besprechung beim eigenen Dienst dieses Computers lässt sich für das lokale Netz öffnen.</translation>
    </message>
    <message>
        <source>The meeting is not open to others any more.</source>
        <translation>Die Besprechung ist für andere nicht mehr offen.</translation>
    </message>
    <message>
        <source>The service has no mail address for this handle. Ask its operator for a new password.</source>
        <translation>Der Dienst hat für diesen Benutzernamen keine Mailadresse. Bitten Sie seinen Betreiber um ein neues Passwort.</translation>
    </message>
    <message>
        <source>The service could not send the mail. Try again later, or ask its operator for a new password.</source>
        <translation>Der Dienst konnte die Nachricht nicht verschicken. Versuchen Sie es später noch einmal oder bitten Sie seinen Betreiber um ein neues Passwort.</translation>
    </message>
    <message>
        <source>The mail server has not taken the mail yet. Look into your mailbox in a few minutes, before you ask again.</source>
        <translation>Der Mailserver hat die Nachricht noch nicht angenommen. Sehen Sie in einigen Minuten in Ihr Postfach, bevor Sie noch einmal fragen.</translation>
    </message>
    <message>
        <source>A password was mailed a short while ago, or too many are asked for. Look into your mailbox; another one can be asked for in %1 min.</source>
        <translation>Ein Passwort wurde vor Kurzem verschickt, oder es werden zu viele verlangt. Sehen Sie in Ihr Postfach; ein weiteres können Sie in %1 min verlangen.</translation>
    </message>
    <message>
        <source>The voice companion finds no way to the meeting: %1</source>
        <translation>Der Sprachbegleiter findet keinen Weg in die Besprechung: %1</translation>
    </message>
</context>
<context>
    <name>ServiceEvents</name>
    <message>
        <source>%1 has come</source>
        <translation>%1 ist gekommen</translation>
    </message>
    <message>
        <source>%1 has left</source>
        <translation>%1 ist gegangen</translation>
    </message>
</context>
<context>
    <name>SettingRow</name>
    <message>
        <source>Default</source>
        <translation>Standard</translation>
    </message>
    <message>
        <source>Default for &quot;%1&quot;</source>
        <translation>Standard für „%1“</translation>
    </message>
    <message>
        <source>Back to the default</source>
        <translation>Zurück zum Standard</translation>
    </message>
    <message>
        <source>The settings file has &quot;%1&quot; here, which is no video device: there is no video.</source>
        <translation>In der Datei der Einstellungen steht hier „%1“. Das ist keine Videoquelle: Es gibt kein Video.</translation>
    </message>
    <message>
        <source>The settings file has &quot;%1&quot; here. Shown is what Quorvia makes of it.</source>
        <translation>In der Datei der Einstellungen steht hier „%1“. Angezeigt wird, was Quorvia daraus macht.</translation>
    </message>
</context>
<context>
    <name>TrustedList</name>
    <message>
        <source>Services whose &amp;key is remembered, for all configurations:</source>
        <translation>Dienste, deren Sc&amp;hlüssel gemerkt ist, für alle Konfigurationen:</translation>
    </message>
    <message>
        <source>A service is believed only with the key that is remembered for it. Once that is forgotten, the next login asks again whether you trust the key that comes then.</source>
        <translation>Einem Dienst wird nur mit dem Schlüssel geglaubt, der für ihn gemerkt ist. Ist der vergessen, fragt die nächste Anmeldung wieder, ob Sie dem Schlüssel vertrauen, der dann kommt.</translation>
    </message>
    <message>
        <source>Services whose key is remembered</source>
        <translation>Dienste, deren Schlüssel gemerkt ist</translation>
    </message>
    <message>
        <source>For&amp;get</source>
        <translation>Ver&amp;gessen</translation>
    </message>
</context>
<context>
    <name>frmMeeting</name>
    <message>
        <source>The underlined characters cannot be enciphered: they would arrive as &quot;?&quot;.</source>
        <translation>Die unterstrichenen Zeichen lassen sich nicht verschlüsseln: Sie kämen als „?“ an.</translation>
    </message>
</context>
<context>
    <name>frmPreferences</name>
    <message>
        <source>Preferences</source>
        <translation>Einstellungen</translation>
    </message>
    <message>
        <source>Find a setting</source>
        <translation>Eine Einstellung suchen</translation>
    </message>
    <message>
        <source>a word of its name or its help</source>
        <translation>ein Wort aus Name oder Hilfe</translation>
    </message>
    <message>
        <source>Settings of the configuration</source>
        <translation>Einstellungen der Konfiguration</translation>
    </message>
    <message>
        <source>Pages</source>
        <translation>Seiten</translation>
    </message>
    <message>
        <source>&amp;Reset This Page</source>
        <translation>Seite zu&amp;rücksetzen</translation>
    </message>
    <message>
        <source>Everything on this page back to its default</source>
        <translation>Alles auf dieser Seite zurück zum Standard</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>&amp;Apply</source>
        <translation>Überneh&amp;men</translation>
    </message>
    <message>
        <source>&amp;Find:</source>
        <translation>Suche&amp;n:</translation>
    </message>
    <message>
        <source>Setti&amp;ngs of:</source>
        <translation>E&amp;instellungen von:</translation>
    </message>
    <message>
        <source>These settings belong to the configuration &quot;%1&quot;.</source>
        <translation>Diese Einstellungen gehören zur Konfiguration „%1“.</translation>
    </message>
    <message>
        <source>These settings belong to the configuration &quot;%1&quot;, which is in use: a change acts at once, unless its line says otherwise.</source>
        <translation>Diese Einstellungen gehören zur Konfiguration „%1“, die in Gebrauch ist: Änderungen wirken sofort, wenn ihre Zeile nichts anderes sagt.</translation>
    </message>
    <message>
        <source>These settings belong to the configuration &quot;%1&quot;. They act once it is chosen in the login dialog.</source>
        <translation>Diese Einstellungen gehören zur Konfiguration „%1“. Sie wirken, sobald sie bei der Anmeldung gewählt wird.</translation>
    </message>
    <message>
        <source>A configuration is a named set of all settings on the other pages and in the login dialog.</source>
        <translation>Eine Konfiguration fasst alle Einstellungen der anderen Seiten und der Anmeldung unter einem Namen zusammen.</translation>
    </message>
    <message>
        <source>%1 (%2)</source>
        <translation>%1 (%2)</translation>
    </message>
    <message>
        <source>%1 found; Enter goes to the next.</source>
        <translation>%1 gefunden; die Eingabetaste geht zur nächsten.</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is set elsewhere: %2.</source>
        <translation>„%1“ wird anderswo eingestellt: %2.</translation>
    </message>
    <message>
        <source>Nothing found.</source>
        <translation>Nichts gefunden.</translation>
    </message>
    <message>
        <source>The settings could not be stored, and nothing has been changed: %1.</source>
        <translation>Die Einstellungen konnten nicht gespeichert werden, und es wurde nichts geändert: %1.</translation>
    </message>
    <message>
        <source>The settings cannot be read: %1.</source>
        <translation>Die Einstellungen lassen sich nicht lesen: %1.</translation>
    </message>
</context>
</TS>
