import QtQuick
import Wingbell.Panels
import Wingbell.Testing

Item {
    id: stage

    readonly property Item focused: Window.activeFocusItem

    height: 1100
    width: 820

    Component {
        id: panelComponent

        ShowSetupPanel {
            height: 1100
            serverIsRunning: false
            width: 820
        }
    }
    PanelTestCase {
        readonly property string twoRoles: '{"show": "Recital", "channels": ["Main", "Tech"], "oscPort": 47000, "roles": [{"name": "A", "talk": ["Main"], "listen": ["Tech"]}, {"name": "B", "talk": ["Tech", "Main"], "listen": []}]}'

        // A panel over a show of two roles, loaded and unchanged; nothing has the focus.
        function panel(properties) {
            desk.writeShow(twoRoles);
            desk.config.load();
            const item = open(panelComponent, Object.assign({
                        "config": desk.config
                    }, properties));
            laidOut(findChild(item, "showName").parent.parent);
            leave();
            verify(!desk.config.hasUnsavedChanges);
            return item;
        }
        function leave() {
            if (stage.focused)
                stage.focused.focus = false;
        }
        function undo() {
            keyClick(Qt.Key_Z, Qt.ControlModifier);
        }
        function redo() {
            keyClick(Qt.Key_Z, Qt.ControlModifier | Qt.ShiftModifier);
        }
        function show() {
            const roles = desk.config.roles.map(role => [role.name, role.talk, role.listen]);
            return JSON.stringify([desk.config.show, desk.config.channels, roles, desk.config.oscPort]);
        }
        function card(item, index) {
            return all(item, RoleCard)[index];
        }
        function nameField(item, index) {
            return all(card(item, index), DeskField)[0];
        }
        function newChannel(item) {
            return all(findChild(item, "channelsEditor"), DeskField)[0];
        }
        function typeAtEnd(field, text) {
            mouseClick(field);
            keyClick(Qt.Key_End);
            typeText(text);
        }
        function act(item, what) {
            switch (what) {
            case "remove a channel":
                return clickChip(all(findChild(item, "channelsEditor"), Chip)[0]);
            case "add a channel":
                typeAtEnd(newChannel(item), "Pit");
                return keyClick(Qt.Key_Return);
            case "remove a role":
                return mouseClick(labelledAs(card(item, 0), "Delete role"));
            case "add a role":
                return mouseClick(findChild(item, "addRole"));
            case "toggle talk":
                return clickChip(all(all(card(item, 0), PatchRow)[0], Chip)[0]);
            case "toggle listen":
                return clickChip(all(all(card(item, 0), PatchRow)[1], Chip)[0]);
            case "rename the show":
                return typeAtEnd(findChild(item, "showName"), " 2");
            case "rename a role":
                return typeAtEnd(nameField(item, 0), " 2");
            case "enter a port":
                selectAllOf(findChild(item, "port"));
                typeText("8000");
                return keyClick(Qt.Key_Return);
            case "reload":
                desk.writeShow(twoRoles.replace("Tech", "Pit").replace("47000", "1234"));
                return mouseClick(findChild(item, "reload"));
            }
        }
        function labelledAs(root, name) {
            return all(root, Pressable).filter(item => item.Accessible.name === name)[0];
        }
        function test_everyEditIsUndoneAndRedone_data() {
            return eachOf(["remove a channel", "add a channel", "remove a role", "add a role", "toggle talk", "toggle listen", "rename the show", "rename a role", "enter a port", "reload"]);
        }
        function test_everyEditIsUndoneAndRedone(data) {
            const item = panel();
            desk.config.addRole();
            const before = show();
            act(item, data.value);
            const after = show();
            verify(after !== before);
            leave();
            verify(desk.config.save());
            undo();
            compare(show(), before);
            verify(desk.config.hasUnsavedChanges, "an undo is an edit");
            verify(desk.config.save());
            redo();
            compare(show(), after);
            verify(desk.config.hasUnsavedChanges, "a redo is an edit");
            compare(findChild(item, "port").text, `${desk.config.oscPort}`);
            compare(findChild(item, "showName").text, desk.config.show);
            compare(nameField(item, 0).text, desk.role(0).name);
        }
        function test_nothingToUndoChangesNothing() {
            panel();
            undo();
            redo();
            verify(!desk.config.hasUnsavedChanges);
        }
        function test_aFieldUndoesItsOwnTypingFirst_data() {
            return eachOf(["show", "role"]);
        }
        function test_aFieldUndoesItsOwnTypingFirst(data) {
            const item = panel();
            desk.config.addRole();
            const before = show();
            const field = data.value === "show" ? findChild(item, "showName") : nameField(item, 0);
            typeAtEnd(field, "xyz");
            field.cursorPosition = 0;
            typeText("a");
            const typed = show();
            undo();
            verify(field.text.endsWith("xyz"), "by its own steps");
            compare(field.cursorPosition, 0);
            redo();
            compare(show(), typed);
            undo();
            undo();
            compare(show(), before);
            verify(field.activeFocus);
            // What the field has undone is not undone once more.
            undo();
            compare(desk.roleCount(), 2);
            redo();
            compare(show(), before);
            redo();
            verify(field.text.endsWith("xyz"), "and is made again after what came before it");
        }
        function test_aFieldLeavesWhatWasTypedBeforeAnotherEditToTheShow_data() {
            return eachOf(["while it has the focus", "after it was left"]);
        }
        function test_aFieldLeavesWhatWasTypedBeforeAnotherEditToTheShow(data) {
            const item = panel();
            const field = nameField(item, 0);
            const stays = data.value === "while it has the focus";
            typeAtEnd(field, "x");
            if (!stays)
                leave();
            desk.config.toggleTalk(desk.role(1), "Main");
            if (!stays)
                mouseClick(field);
            verify(field.activeFocus);
            compare(field.cursorPosition, stays ? 2 : field.cursorPosition);
            undo();
            compare([desk.role(0).name, desk.role(1).talk.join()], ["Ax", "Tech,Main"]);
            undo();
            compare([desk.role(0).name, field.text], ["A", "A"]);
            undo();
            compare(field.text, "A");
            redo();
            compare(field.text, "Ax");
            redo();
            compare(desk.role(1).talk.join(), "Tech");
        }
        function test_aNameThatIsToBeAddedIsUndoneInItsField() {
            const item = panel();
            desk.config.addRole();
            typeAtEnd(newChannel(item), "Pit");
            undo();
            compare(newChannel(item).text, "");
            compare(desk.roleCount(), 3);
            undo();
            compare(desk.roleCount(), 2);
        }
        function test_aPortThatIsBeingTypedIsUndoneInItsField() {
            const item = panel();
            desk.config.addRole();
            desk.config.hasUnsavedChanges = false;
            const field = findChild(item, "port");
            selectAllOf(field);
            typeText("8");
            undo();
            compare(field.text, "47000");
            leave();
            verify(!desk.config.hasUnsavedChanges, "nothing was entered");
            compare(desk.roleCount(), 3);
        }
        function test_aPortThatAnotherEditStoresIsAStepOfItsOwn() {
            const item = panel();
            selectAllOf(findChild(item, "port"));
            typeText("8000");
            desk.config.addRole();
            compare(desk.config.oscPort, 8000);
            undo();
            compare([desk.config.oscPort, desk.roleCount()], [47000, 3]);
            undo();
            compare([desk.config.oscPort, desk.roleCount()], [47000, 2]);
        }
        function test_whatAStepChangesComesIntoSight() {
            const item = panel({
                    "height": 300
                });
            const view = findChild(item, "setupView");
            const inSight = part => {
                const top = part.mapToItem(view, 0, 0).y;
                return top >= 0 && top < view.height;
            };
            desk.config.show = "Gala";
            desk.config.addChannel("Pit");
            desk.config.toggleTalk(desk.role(1), "Pit");
            desk.config.removeRole(desk.role(0));
            view.contentY = 0;
            undo();
            verify(inSight(nameField(item, 0)));
            view.contentY = 0;
            undo();
            verify(inSight(nameField(item, 1)));
            view.contentY = view.contentHeight - view.height;
            undo();
            verify(inSight(all(findChild(item, "channelsEditor"), Chip)[0]));
            view.contentY = view.contentHeight - view.height;
            undo();
            verify(inSight(findChild(item, "showName")));
        }
        function test_anUndoDuringAPressIsNoPress() {
            const item = panel();
            desk.config.addRole();
            const bin = labelledAs(card(item, 2), "Delete role");
            const pointer = bin.mapToItem(stage, bin.width / 2, bin.height / 2);
            mousePress(stage, pointer.x, pointer.y);
            undo();
            compare(desk.roleCount(), 2);
            mouseRelease(stage, pointer.x, pointer.y);
            compare(desk.roleCount(), 2);
            redo();
            compare(desk.roleCount(), 3);
        }
        function test_cardsThatStayAreTheSame() {
            const item = panel();
            const second = card(item, 1);
            desk.config.removeRole(desk.role(0));
            undo();
            compare(card(item, 1), second);
        }

        name: "Undo"
    }
}
