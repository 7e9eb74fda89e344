import QtQuick

// A text's context menu, made when it is first asked for: asking the clipboard what can be pasted,
// and menus themselves, load a good deal that a show may never need.
Loader {
    id: loader

    property bool canEdit: true
    readonly property bool isOpen: (item as EditMenu)?.visible ?? false

    signal copy
    signal cut
    signal paste
    signal selectAll

    // Opens the menu at that place of `owner`.
    function popup(owner: Item, x: real, y: real, hasSelection: bool, canPaste: bool) {
        source = "EditMenu.qml";
        const menu = item as EditMenu;
        menu.canCut = hasSelection;
        menu.canEdit = canEdit;
        menu.canPaste = canPaste;
        menu.popup(owner, x, y);
    }

    Connections {
        function onCopy() {
            loader.copy();
        }
        function onCut() {
            loader.cut();
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
