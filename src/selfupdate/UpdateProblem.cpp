#include "UpdateProblem.h"

StringKey userMessage(UpdateProblem problem)
{
    switch (problem) {
    case UpdateProblem::None:
    case UpdateProblem::Cancelled:
        return {};
    case UpdateProblem::Configuration:
        return {QStringLiteral("This copy of Quillmarsh Hub is not set up to look for updates."),
                QStringLiteral("この Quillmarsh Hub はアップデートを確認するように設定されていません。")};
    case UpdateProblem::Network:
        return {QStringLiteral("The update information could not be downloaded. Check your internet connection and try again."),
                QStringLiteral("アップデート情報をダウンロードできませんでした。インターネット接続を確認して、もう一度お試しください。")};
    case UpdateProblem::Feed:
        return {QStringLiteral("The update information could not be read."),
                QStringLiteral("アップデート情報を読み取れませんでした。")};
    case UpdateProblem::Transfer:
        return {QStringLiteral("The update could not be downloaded. Check your internet connection and try again."),
                QStringLiteral("アップデートをダウンロードできませんでした。インターネット接続を確認して、もう一度お試しください。")};
    case UpdateProblem::Length:
        return {QStringLiteral("The downloaded update does not have the expected size, so it was deleted."),
                QStringLiteral("ダウンロードしたアップデートのサイズが正しくないため、削除しました。")};
    case UpdateProblem::Signature:
        return {QStringLiteral("The downloaded update is not signed by Quillmarsh, so it was deleted."),
                QStringLiteral("ダウンロードしたアップデートに Quillmarsh の署名がないため、削除しました。")};
    case UpdateProblem::Storage:
        return {QStringLiteral("The update could not be saved in your Downloads folder."),
                QStringLiteral("アップデートをダウンロードフォルダに保存できませんでした。")};
    case UpdateProblem::PackageMissing:
        return {QStringLiteral("The downloaded update is no longer in your Downloads folder."),
                QStringLiteral("ダウンロードしたアップデートがダウンロードフォルダに見つかりません。")};
    }
    return {};
}
