import QtQuick

// A text's context menu, made when it is first asked for: asking the clipboard what can be pasted,
// and menus themselves, load a good deal that a show may never need.
Loader {
    id: loader

    // What the menu offers to open; nothing when empty. To be set before the menu is asked for.
    property string address
    property bool canEdit: true
    // To be bound by `isOpen` as well: looking into the clipboard is what is put off.
    property bool canPaste: false
    property bool hasSelection: false
    readonly property bool isOpen: (item as EditMenu)?.visible ?? false

    signal copy
    signal cut
    signal openAddress
    signal paste
    signal selectAll

    // Opens the menu at that place of `owner`.
    function popup(owner: Item, x: real, y: real) {
        source = "EditMenu.qml";
        const menu = item as EditMenu;
        menu.address = address;
        menu.canCut = Qt.binding(() => loader.hasSelection);
        menu.canEdit = canEdit;
        menu.canPaste = Qt.binding(() => loader.canPaste);
        menu.popup(owner, x, y);
    }

    Connections {
        function onCopy() {
            loader.copy();
        }
        function onCut() {
            loader.cut();
        }
        function onOpenAddress() {
            loader.openAddress();
        }
        function onPaste() {
            loader.paste();
        }
        function onSelectAll() {
            loader.selectAll();
        }

        target: loader.item as EditMenu
    }
}
