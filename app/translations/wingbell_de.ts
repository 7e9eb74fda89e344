<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>ChannelsEditor</name>
    <message>
        <source>Removes the channel</source>
        <extracomment>What a press on a channel does, spoken only.</extracomment>
        <translation>Entfernt den Kanal</translation>
    </message>
    <message>
        <source>New channel name</source>
        <extracomment>The field for a new channel, spoken only.
----------
Stands in the empty field, which is 220 wide.</extracomment>
        <translation>Name des neuen Kanals</translation>
    </message>
    <message>
        <source>Add</source>
        <extracomment>A button: adds the channel whose name is in the field.</extracomment>
        <translation>Hinzufügen</translation>
    </message>
    <message>
        <source>Channels, %1</source>
        <extracomment>The list of the channels and how many there are, spoken only.</extracomment>
        <translation>Kanäle, %1</translation>
    </message>
</context>
<context>
    <name>Chip</name>
    <message>
        <source>Channel without a name</source>
        <extracomment>A channel whose name is empty or blank, spoken only.</extracomment>
        <translation>Kanal ohne Namen</translation>
    </message>
</context>
<context>
    <name>ConsolePanel</name>
    <message>
        <source>CONSOLE</source>
        <extracomment>The title over what the server says.</extracomment>
        <translation>KONSOLE</translation>
    </message>
    <message>
        <source>Console</source>
        <extracomment>The list of what the server says, spoken only.</extracomment>
        <translation>Konsole</translation>
    </message>
</context>
<context>
    <name>ControlHeader</name>
    <message>
        <source>Set up and run the show relay</source>
        <extracomment>Under the title of the window; the relay is what carries the voices of the intercom.</extracomment>
        <translation>Sprechanlage der Show einrichten und betreiben</translation>
    </message>
</context>
<context>
    <name>EditMenu</name>
    <message>
        <source>Cut</source>
        <extracomment>Menu of a text field, as everywhere on the desktop.</extracomment>
        <translation>Ausschneiden</translation>
    </message>
    <message>
        <source>Copy</source>
        <extracomment>Menu of a text field, as everywhere on the desktop.</extracomment>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Paste</source>
        <extracomment>Menu of a text field, as everywhere on the desktop.</extracomment>
        <translation>Einfügen</translation>
    </message>
    <message>
        <source>Select All</source>
        <extracomment>Menu of a text field, as everywhere on the desktop.</extracomment>
        <translation>Alles auswählen</translation>
    </message>
    <message>
        <source>Open %1</source>
        <extracomment>Menu of a line of the console: opens that web address in the browser.</extracomment>
        <translation>%1 öffnen</translation>
    </message>
    <message>
        <source>Edit</source>
        <extracomment>The context menu of a text, spoken only.</extracomment>
        <translation>Bearbeiten</translation>
    </message>
</context>
<context>
    <name>PowerPanel</name>
    <message>
        <source>SHOW FILE</source>
        <extracomment>The title over the path of the file that the show is saved in.</extracomment>
        <translation>SHOW-DATEI</translation>
    </message>
    <message>
        <source>Reveal in Finder</source>
        <extracomment>A link: opens the file manager with the show&apos;s file selected. Say it as the desktop does.</extracomment>
        <translation>Im Dateimanager zeigen</translation>
    </message>
</context>
<context>
    <name>Pressable</name>
    <message>
        <source>Not available now</source>
        <extracomment>Says of a button or switch that it cannot be pressed at present, spoken only.</extracomment>
        <translation>Zurzeit nicht verfügbar</translation>
    </message>
</context>
<context>
    <name>RestartWarning</name>
    <message>
        <source>Changes won&apos;t reach the show until you stop and restart the server.</source>
        <extracomment>The server runs with the show as it was saved before it was started.</extracomment>
        <translation>Änderungen erreichen die Show erst, wenn Sie den Server stoppen und neu starten.</translation>
    </message>
</context>
<context>
    <name>RockerSwitch</name>
    <message>
        <source>Intercom server</source>
        <extracomment>The switch that starts and stops the server, spoken only.</extracomment>
        <translation>Server der Sprechanlage</translation>
    </message>
    <message>
        <source>STOP</source>
        <extracomment>The left half of the switch, 71 wide; lit while the server is stopped.</extracomment>
        <translation>STOPP</translation>
    </message>
    <message>
        <source>START</source>
        <extracomment>The right half of the switch, 71 wide; lit while the server runs.</extracomment>
        <translation>START</translation>
    </message>
</context>
<context>
    <name>RoleCard</name>
    <message>
        <source>Role name</source>
        <extracomment>The field with the name of a role, e.g. Stage Manager; spoken only.
----------
Stands in the field while the role has no name.</extracomment>
        <translation>Name der Rolle</translation>
    </message>
    <message>
        <source>Delete role</source>
        <extracomment>The button with the dustbin, spoken only.</extracomment>
        <translation>Rolle löschen</translation>
    </message>
</context>
<context>
    <name>RoleCardList</name>
    <message>
        <source>Roles, %1</source>
        <extracomment>The list of the roles and how many there are, spoken only.</extracomment>
        <translation>Rollen, %1</translation>
    </message>
</context>
<context>
    <name>RoleCardSlot</name>
    <message>
        <source>no channel</source>
        <extracomment>Stands for the list of a role&apos;s channels while it has none, spoken only.</extracomment>
        <translation>kein Kanal</translation>
    </message>
    <message>
        <source>Role without a name</source>
        <extracomment>A role, spoken only.</extracomment>
        <translation>Rolle ohne Namen</translation>
    </message>
    <message>
        <source>Talks on: %1.</source>
        <extracomment>What a role talks on, spoken only; %1 is a list of channels.</extracomment>
        <translation>Spricht auf: %1.</translation>
    </message>
    <message>
        <source>Listens on: %1.</source>
        <extracomment>What a role listens on, spoken only; %1 is a list of channels.</extracomment>
        <translation>Hört auf: %1.</translation>
    </message>
</context>
<context>
    <name>ShowSetupPanel</name>
    <message>
        <source>SHOW NAME</source>
        <extracomment>A section&apos;s title.</extracomment>
        <translation>NAME DER SHOW</translation>
    </message>
    <message>
        <source>Show name</source>
        <extracomment>The field with the show&apos;s name, spoken only.</extracomment>
        <translation>Name der Show</translation>
    </message>
    <message>
        <source>e.g. Fall Recital</source>
        <extracomment>An example of a show&apos;s name, in the empty field.</extracomment>
        <translation>z. B. Herbstkonzert</translation>
    </message>
    <message>
        <source>OSC (QLab)</source>
        <extracomment>A section&apos;s title: Open Sound Control, and the cue player that speaks it.</extracomment>
        <translation>OSC (QLab)</translation>
    </message>
    <message>
        <source>Port</source>
        <extracomment>The number of a network port, before its field.
----------
The number of a network port, spoken before its field.</extracomment>
        <translation>Port</translation>
    </message>
    <message>
        <source>Point a QLab Network (OSC) cue at this Mac&apos;s IP and this port. Address /wingbell/say (or /wingbell/say/ChannelName) with a string argument speaks it into the intercom.</source>
        <extracomment>The addresses /wingbell/say are for the machine and stay as they are; ChannelName stands for any channel&apos;s name.</extracomment>
        <translation>Richten Sie in QLab einen Network-Cue (OSC) auf die IP dieses Computers und diesen Port. An /wingbell/say (oder /wingbell/say/Kanalname) als String-Argument gesendeter Text wird in die Sprechanlage gesprochen.</translation>
    </message>
    <message>
        <source>CHANNELS</source>
        <extracomment>A section&apos;s title: the voice channels of the intercom.</extracomment>
        <translation>KANÄLE</translation>
    </message>
    <message>
        <source>ROLES</source>
        <extracomment>A section&apos;s title: who works at the show, e.g. Stage Manager.</extracomment>
        <translation>ROLLEN</translation>
    </message>
    <message>
        <source>Add Role</source>
        <extracomment>A button: adds a role to the show.</extracomment>
        <translation>Rolle hinzufügen</translation>
    </message>
    <message>
        <source>Saved ✓</source>
        <extracomment>The button that saves, right after it has.</extracomment>
        <translation>Gespeichert ✓</translation>
    </message>
    <message>
        <source>Save Show</source>
        <extracomment>A button: writes the show to its file.</extracomment>
        <translation>Show speichern</translation>
    </message>
    <message>
        <source>Reload from File</source>
        <extracomment>A button: reads the show from its file again; edits since the last save are lost.</extracomment>
        <translation>Aus der Datei neu laden</translation>
    </message>
</context>
<context>
    <name>StatusLamp</name>
    <message>
        <source>ON AIR</source>
        <extracomment>The lamp: the server runs. As over the door of a studio.</extracomment>
        <translation>AUF SENDUNG</translation>
    </message>
    <message>
        <source>STARTING</source>
        <extracomment>The lamp: the server has been started and has not spoken yet.</extracomment>
        <translation>STARTET</translation>
    </message>
    <message>
        <source>STOPPED</source>
        <extracomment>The lamp: the server does not run.</extracomment>
        <translation>GESTOPPT</translation>
    </message>
</context>
<context>
    <name>WindowButtons</name>
    <message>
        <source>Minimise</source>
        <extracomment>A button of the window, spoken only.</extracomment>
        <translation>Minimieren</translation>
    </message>
    <message>
        <source>Restore</source>
        <extracomment>A button of the window, spoken only: gives it the size back that it had.</extracomment>
        <translation>Wiederherstellen</translation>
    </message>
    <message>
        <source>Maximise</source>
        <extracomment>A button of the window, spoken only: lets it fill the screen.</extracomment>
        <translation>Maximieren</translation>
    </message>
    <message>
        <source>Close</source>
        <extracomment>A button of the window, spoken only: closes it.</extracomment>
        <translation>Schließen</translation>
    </message>
</context>
</TS>
